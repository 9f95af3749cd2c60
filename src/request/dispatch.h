#ifndef QUORVA_REQUEST_DISPATCH_H
#define QUORVA_REQUEST_DISPATCH_H

#include <QString>

#include <cstddef>

struct BDBRequest;

/** From a received request to its operation. Any thread. */
namespace Requests {

/**
 * Parses the request's body; false if it is not JSON. Items to be written remain text if they are in canonical form
 * (Json::SplitObject).
 */
[[nodiscard]] bool parseBody(BDBRequest& request);

/**
 * Runs the operation that the request names, on the calling thread. Sets the request's status; the operation fills its
 * reply map. An unknown name is one ERROR line and status 2. If the request's table context only finds what is open, a
 * long request gets StatusTakesLong and must be reset before it is run again. Afterwards `environment` is the use of
 * the environment: if its unflushed() has any commits, a flush must end it before the reply may be sent.
 */
void dispatch(BDBRequest& request);

/**
 * False if the request is certain to take long, judging by its operation or by the size of its body, which need not be
 * parsed yet: it is not tried on a thread that others wait for.
 */
bool mayBeShort(BDBRequest& request);

/**
 * True if the request asks for the state of the server, which is answered even when all threads that run requests are
 * stuck: it waits for nothing that others do, and for other such requests only briefly.
 */
bool isForOperator(BDBRequest& request);

/** The name of the operation with this number (see BDBRequest), without its prefix; "Unknown" for any other number. */
QString operationName(std::size_t number);

} // namespace Requests

#endif
