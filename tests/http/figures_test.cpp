#include "http/figures.h"

#include "exposition.h"
#include "support/samplestatus.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

std::string textOf(const QVariantMap& status)
{
    Http::PrometheusText text;
    Http::Figures::write(Client::ServerStatus::of(status), &text);
    return text.text().toStdString();
}

/** The labels of the sample's two environments. */
const std::string Shop = R"({directory="/srv/shop"})";
const std::string Odd = R"({directory="/srv/a \"b\\c\nd"})";

} // namespace

TEST(Figures, HaveEveryNumberOfTheStatus)
{
    const Exposition figures(textOf(sampleStatus()));
    const std::vector<std::pair<std::string, double>> expected{
        {R"(quorva_build_info{version="2.4.0"})", 1},
        {"quorva_start_time_seconds", 1795356721.25},
        {"quorva_resident_memory_bytes", 125829120},
        {"quorva_cpu_seconds_total", 12.5},
        {"quorva_open_fds", 812},
        {"quorva_max_fds", 1048576},
        {"quorva_connections", 3},
        {"quorva_connections_accepted_total", 40},
        {"quorva_connections_refused_total", 5},
        {"quorva_received_bytes_total", 1048576},
        {"quorva_sent_bytes_total", 1536},
        {"quorva_workers", 2},
        {"quorva_workers_busy", 1},
        {"quorva_pool_threads", 6},
        {"quorva_requests_running", 4},
        {"quorva_requests_queued", 7},
        {"quorva_replies_waiting", 8},
        {"quorva_slow_requests_total", 33},
        {R"(quorva_requests_total{operation="PutItem",outcome="Success"})", 100},
        {R"(quorva_requests_total{operation="PutItem",outcome="ConditionalCheckFailedException"})", 2},
        {R"(quorva_requests_total{operation="Query",outcome="Success"})", 4},
        {"quorva_environment_tables" + Shop, 2},
        {"quorva_environment_files" + Shop, 300},
        {"quorva_environment_cache_bytes" + Shop, 16777216},
        {"quorva_environment_cache_pages" + Shop, 4000},
        {"quorva_environment_cache_dirty_pages" + Shop, 12},
        {"quorva_environment_cache_hits_total" + Shop, 990},
        {"quorva_environment_cache_misses_total" + Shop, 10},
        {"quorva_environment_lock_waits_total" + Shop, 21},
        {"quorva_environment_deadlocks_total" + Shop, 3},
        {"quorva_environment_log_file_number" + Shop, 17},
        {"quorva_environment_log_offset_bytes" + Shop, 65536},
        {"quorva_environment_log_files" + Shop, 4},
        {"quorva_environment_log_bytes" + Shop, 41943040},
        {"quorva_environment_log_bytes" + Odd, 28},
        {"quorva_environment_commits_total" + Shop, 500},
        {"quorva_environment_aborts_total" + Shop, 6},
        {"quorva_environment_flushes_total" + Shop, 200},
        {"quorva_environment_sync_failed" + Shop, 0},
        {"quorva_environment_sync_failed" + Odd, 1},
        {"quorva_environment_last_checkpoint_timestamp_seconds" + Shop, 1795356780},
        {"quorva_environment_backup_since_timestamp_seconds" + Shop, 1795356730},
        {"quorva_environment_backup_until_timestamp_seconds" + Shop, 1795356810},
        {R"(quorva_environment_backup_state{directory="/srv/shop",state="shipping"})", 1},
        {R"(quorva_environment_backup_state{directory="/srv/shop",state="none"})", 0},
        {R"(quorva_environment_backup_state{directory="/srv/shop",state="copying"})", 0},
        {R"(quorva_environment_backup_state{directory="/srv/shop",state="stopping"})", 0},
    };
    for (const auto& [sample, value] : expected)
        EXPECT_EQ(figures.value(sample), value) << sample;
}

TEST(Figures, DurationsAreAHistogramInSeconds)
{
    const Exposition figures(textOf(sampleStatus()));
    const std::string labels = R"(operation="PutItem",outcome="Success")";
    const std::string bucket = "quorva_request_duration_seconds_bucket{" + labels + ",le=";
    EXPECT_EQ(figures.value(bucket + "\"5e-05\"}"), 90);
    EXPECT_EQ(figures.value(bucket + "\"0.0025\"}"), 98);
    EXPECT_EQ(figures.value(bucket + "\"1\"}"), 99);
    EXPECT_EQ(figures.value(bucket + "\"+Inf\"}"), 100);
    EXPECT_DOUBLE_EQ(figures.value("quorva_request_duration_seconds_sum{" + labels + "}"), 0.02);
    EXPECT_EQ(figures.value("quorva_request_duration_seconds_count{" + labels + "}"), 100);
}

TEST(Figures, TimesThatAreNotKnownAreOmitted)
{
    const Exposition figures(textOf(sampleStatus()));
    for (const char* name : {"last_checkpoint", "backup_since", "backup_until"})
        EXPECT_FALSE(figures.has("quorva_environment_" + std::string(name) + "_timestamp_seconds" + Odd)) << name;
    EXPECT_EQ(figures.value(R"(quorva_environment_backup_state{directory="/srv/a \"b\\c\nd",state="none"})"), 1);
}

TEST(Figures, WithoutEnvironmentsAndRequestsHaveNoEmptyFamilies)
{
    QVariantMap status = sampleStatus();
    status.remove("Environments");
    status.remove("Requests");
    const Exposition figures(textOf(status));
    EXPECT_EQ(figures.sum("quorva_environment"), 0);
    EXPECT_EQ(figures.sum("quorva_requests_total"), 0);
    EXPECT_EQ(figures.sum("quorva_request_duration"), 0);
}

TEST(Figures, OfTheTransportCountByStatus)
{
    Http::TransportFigures counted;
    counted.open.add(2);
    counted.accepted.add(9);
    counted.refused.add(1);
    counted.receivedBytes.add(1000);
    counted.sentBytes.add(2000);
    counted.responses(200).add(7);
    counted.responses(503).add(1);
    Http::PrometheusText text;
    Http::Figures::write(counted, &text);
    const Exposition figures(text.text().toStdString());
    EXPECT_EQ(figures.value("quorva_http_connections"), 2);
    EXPECT_EQ(figures.value("quorva_http_connections_accepted_total"), 9);
    EXPECT_EQ(figures.value("quorva_http_connections_refused_total"), 1);
    EXPECT_EQ(figures.value("quorva_http_received_bytes_total"), 1000);
    EXPECT_EQ(figures.value("quorva_http_sent_bytes_total"), 2000);
    EXPECT_EQ(figures.value(R"(quorva_http_responses_total{code="200"})"), 7);
    EXPECT_EQ(figures.value(R"(quorva_http_responses_total{code="503"})"), 1);
    EXPECT_EQ(figures.sum("quorva_http_responses_total"), 8);
}
