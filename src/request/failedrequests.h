#ifndef QUORVA_REQUEST_FAILEDREQUESTS_H
#define QUORVA_REQUEST_FAILEDREQUESTS_H

#include <QString>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

/** A request that was answered with an error which its client cannot have expected. */
struct FailedRequest {
    std::chrono::system_clock::time_point time;
    QString operation;
    QString outcome; // the last part of the reply's "__type"
    int result = 0;  // the operation's, as the log's lines have it; see RequestStatus
    QString table;   // as the request named it; the beginning of a long name
    QString keys;    // as SlowRequests::keysText() makes them; empty if it names none
    QString peer;    // the client's address and port
};

/**
 * The latest requests that failed, for operators: log lines say why a request failed, but not which one it was. Any
 * thread.
 */
namespace FailedRequests {

inline constexpr std::size_t Kept = 16;

/**
 * Whether a result is reported: those that are answered with InternalServerError or ResourceNotFoundException. Failed
 * conditions are part of normal operation, and the reply to an invalid request tells its client what is wrong.
 */
bool isReported(int result);

void report(FailedRequest request);

/** Newest first. */
std::vector<FailedRequest> latest();

/** How many there have been since the process started. */
std::uint64_t count();

} // namespace FailedRequests

#endif
