#include "http/prometheustext.h"

#include <charconv>
#include <iterator>

namespace Http {

namespace {

QByteArray escaped(QByteArray value)
{
    return value.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
}

const char* nameOf(PrometheusText::Type type)
{
    switch (type) {
    case PrometheusText::Type::Counter:
        return "counter";
    case PrometheusText::Type::Gauge:
        return "gauge";
    case PrometheusText::Type::Histogram:
        break;
    }
    return "histogram";
}

/** The shortest text that reads back as this number, in any locale. */
QByteArray textOf(double number)
{
    char digits[32];
    return {digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr - digits};
}

} // namespace

void PrometheusText::family(const char* name, Type type, const char* help)
{
    name_ = name;
    head_ = "# HELP " + name_ + ' ' + help + "\n# TYPE " + name_ + ' ' + nameOf(type) + '\n';
}

void PrometheusText::sample(qint64 value, const std::vector<Label>& labels)
{
    line("", labels, QByteArray::number(value));
}

void PrometheusText::sample(double value, const std::vector<Label>& labels)
{
    line("", labels, textOf(value));
}

void PrometheusText::histogram(const std::vector<double>& bounds, const std::vector<qint64>& counts, double sum,
                               const std::vector<Label>& labels)
{
    qint64 cumulative = 0;
    std::vector<Label> bucket = labels;
    bucket.push_back({"le", {}});
    for (std::size_t i = 0; i < counts.size(); ++i) {
        cumulative += counts[i];
        bucket.back().second = i < bounds.size() ? textOf(bounds[i]) : "+Inf";
        line("_bucket", bucket, QByteArray::number(cumulative));
    }
    line("_sum", labels, textOf(sum));
    line("_count", labels, QByteArray::number(cumulative));
}

void PrometheusText::line(const char* suffix, const std::vector<Label>& labels, QByteArrayView value)
{
    text_ += head_;
    head_.clear();
    text_ += name_ + suffix;
    const char* separator = "{";
    for (const auto& [name, content] : labels) {
        text_ += QByteArray(separator) + name + "=\"" + escaped(content) + '"';
        separator = ",";
    }
    text_ += labels.empty() ? " " : "} ";
    text_ += value;
    text_ += '\n';
}

} // namespace Http
