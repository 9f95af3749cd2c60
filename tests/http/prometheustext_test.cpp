#include "http/prometheustext.h"

#include <gtest/gtest.h>

using Http::PrometheusText;

TEST(PrometheusText, FamilyBeginsWithItsHelpAndType)
{
    PrometheusText text;
    text.family("q_items", PrometheusText::Type::Gauge, "Items there are.");
    text.sample(qint64{7});
    text.family("q_reads_total", PrometheusText::Type::Counter, "Reads.");
    text.sample(qint64{9007199254740993}, {{"table", "t"}, {"kind", "all"}});
    text.sample(qint64{0}, {{"table", "u"}, {"kind", "all"}});
    EXPECT_EQ(text.text().toStdString(), "# HELP q_items Items there are.\n"
                                         "# TYPE q_items gauge\n"
                                         "q_items 7\n"
                                         "# HELP q_reads_total Reads.\n"
                                         "# TYPE q_reads_total counter\n"
                                         "q_reads_total{table=\"t\",kind=\"all\"} 9007199254740993\n"
                                         "q_reads_total{table=\"u\",kind=\"all\"} 0\n");
}

TEST(PrometheusText, FamilyWithoutSamplesIsOmitted)
{
    PrometheusText text;
    text.family("q_none", PrometheusText::Type::Gauge, "None.");
    text.family("q_one", PrometheusText::Type::Gauge, "One.");
    text.sample(qint64{1});
    EXPECT_EQ(text.text().toStdString(), "# HELP q_one One.\n# TYPE q_one gauge\nq_one 1\n");
}

TEST(PrometheusText, ValuesOfLabelsAreEscaped)
{
    PrometheusText text;
    text.family("q", PrometheusText::Type::Gauge, "Q.");
    text.sample(qint64{1}, {{"directory", "/a \"b\\c\nd\xc3\xa9\t{}=,#"}});
    EXPECT_EQ(text.text().toStdString(),
              "# HELP q Q.\n# TYPE q gauge\nq{directory=\"/a \\\"b\\\\c\\nd\xc3\xa9\t{}=,#\"} 1\n");
}

TEST(PrometheusText, NumbersReadBackAsTheyWere)
{
    PrometheusText text;
    text.family("q", PrometheusText::Type::Gauge, "Q.");
    for (const double number : {0.0, 0.1, 1795356721.235, 5e-05, 1e300})
        text.sample(number);
    EXPECT_EQ(text.text().toStdString(),
              "# HELP q Q.\n# TYPE q gauge\nq 0\nq 0.1\nq 1795356721.235\nq 5e-05\nq 1e+300\n");
}

TEST(PrometheusText, HistogramIsCumulative)
{
    PrometheusText text;
    text.family("q_seconds", PrometheusText::Type::Histogram, "Q.");
    text.histogram({0.00005, 0.0025, 1}, {90, 8, 0, 2}, 0.25, {{"operation", "PutItem"}});
    EXPECT_EQ(text.text().toStdString(), "# HELP q_seconds Q.\n"
                                         "# TYPE q_seconds histogram\n"
                                         "q_seconds_bucket{operation=\"PutItem\",le=\"5e-05\"} 90\n"
                                         "q_seconds_bucket{operation=\"PutItem\",le=\"0.0025\"} 98\n"
                                         "q_seconds_bucket{operation=\"PutItem\",le=\"1\"} 98\n"
                                         "q_seconds_bucket{operation=\"PutItem\",le=\"+Inf\"} 100\n"
                                         "q_seconds_sum{operation=\"PutItem\"} 0.25\n"
                                         "q_seconds_count{operation=\"PutItem\"} 100\n");
}
