#ifndef QUORVA_BENCH_LOAD_REPLYMETER_H
#define QUORVA_BENCH_LOAD_REPLYMETER_H

#include "load/requests.h"

#include <QByteArray>

#include <array>
#include <cstddef>
#include <string>

namespace Bench {

/**
 * Finds the end of a reply in the bytes of a connection, and whether it reports success. Of the reply it keeps only the
 * head, and the last bytes. For one thread.
 */
class ReplyMeter {
public:
    explicit ReplyMeter(Interface interface) : interface_(interface) {}

    /** Before each reply. */
    void begin();
    void takeBytes(const char* bytes, std::size_t count);

    std::size_t received() const { return received_; }
    bool isComplete() const { return expected_ != 0 && received_ == expected_; }
    /** Whether there are bytes after the reply, or there was none. */
    bool isBroken() const { return isBroken_ || (expected_ != 0 && received_ > expected_); }

    /** Of the reply that has arrived. */
    bool succeeded() const;

    /** The end of the last reply, or all of it if it is short. */
    QByteArray end() const;

private:
    void takeHead(const char* bytes, std::size_t count);
    std::size_t lengthAfterHead();

    static constexpr std::size_t KeptBytes = 192; // more than an error reply has

    const Interface interface_;
    std::size_t received_ = 0;
    std::size_t expected_ = 0; // of the whole reply; 0 until its head has arrived
    bool isBroken_ = false;
    std::string head_;                   // the length prefix, or the status line and the headers
    std::array<char, KeptBytes> kept_{}; // the last bytes of the reply, at the end of the array
};

} // namespace Bench

#endif
