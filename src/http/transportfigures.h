#ifndef QUORVA_HTTP_TRANSPORTFIGURES_H
#define QUORVA_HTTP_TRANSPORTFIGURES_H

#include <QtGlobal>

#include <array>
#include <atomic>
#include <cstddef>

namespace Http {

/** A number that many threads change. Any thread. */
class Figure {
public:
    void add(qint64 amount) { value_.fetch_add(amount, std::memory_order_relaxed); }
    qint64 value() const { return value_.load(std::memory_order_relaxed); }

private:
    std::atomic<qint64> value_ = 0;
};

/** The counters of the HTTP connections on all ports, since the start of quorva-http. Any thread. */
class TransportFigures {
public:
    TransportFigures() = default;
    TransportFigures(const TransportFigures&) = delete;
    TransportFigures& operator=(const TransportFigures&) = delete;

    Figure open;     // connections
    Figure accepted; // connections, in total
    Figure refused;  // closed because of their user
    Figure receivedBytes;
    Figure sentBytes;

    /** The responses with this status, which has three digits. */
    Figure& responses(int status) { return responses_[static_cast<std::size_t>(status)]; }
    const Figure& responses(int status) const { return responses_[static_cast<std::size_t>(status)]; }

    static constexpr int Statuses = 1000; // all of them are below

private:
    std::array<Figure, Statuses> responses_; // by status
};

} // namespace Http

#endif
