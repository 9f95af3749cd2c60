#ifndef QUORVA_HTTP_PROMETHEUSTEXT_H
#define QUORVA_HTTP_PROMETHEUSTEXT_H

#include <QByteArray>
#include <QByteArrayView>

#include <utility>
#include <vector>

namespace Http {

/** A label of a sample: its name, and its value as plain UTF-8. */
using Label = std::pair<const char*, QByteArray>;

/**
 * Writes figures in Prometheus' text format, version 0.0.4: one family of samples after another, each preceded by its
 * help text and type.
 */
class PrometheusText {
public:
    static constexpr const char* ContentType = "text/plain; version=0.0.4; charset=utf-8";

    enum class Type { Counter, Gauge, Histogram };

    /** Begins a family; its samples follow. A family without samples is not written. */
    void family(const char* name, Type type, const char* help);

    void sample(qint64 value, const std::vector<Label>& labels = {});
    void sample(double value, const std::vector<Label>& labels = {});

    /**
     * The samples of one histogram. `counts` are by class, not cumulative, and one more than `bounds`, the upper bounds
     * of the classes in seconds.
     */
    void histogram(const std::vector<double>& bounds, const std::vector<qint64>& counts, double sum,
                   const std::vector<Label>& labels);

    const QByteArray& text() const { return text_; }

private:
    void line(const char* suffix, const std::vector<Label>& labels, QByteArrayView value);

    QByteArray name_;
    QByteArray head_; // of the family, until its first sample
    QByteArray text_;
};

} // namespace Http

#endif
