#ifndef QUORVA_REQUEST_DISPATCH_H
#define QUORVA_REQUEST_DISPATCH_H

#include <QString>

#include <cstddef>

struct BDBRequest;

/** The way from a request that has been received to its operation. Any thread. */
namespace Requests {

/**
 * Parses the request's body; false when it is not JSON. Items to be written stay text when they are in canonical form
 * (Json::SplitObject).
 */
[[nodiscard]] bool parseBody(BDBRequest& request);

/**
 * Runs the operation that the request names, on the calling thread. Sets the request's status; the operation fills its
 * reply map. An unknown name is one ERROR line and status 2. Where the request's table only finds what is open, a
 * request that takes long has StatusTakesLong, and must be made anew to be run again. Afterwards `environment` is what
 * must end with a flush before the reply may be sent, if its unflushed() has any.
 */
void dispatch(BDBRequest& request);

/**
 * False when the request is certain to take long, by its operation or by the size of its body, which need not be parsed
 * yet. A thread that others wait for tries no such request.
 */
bool mayBeShort(BDBRequest& request);

/**
 * True when the request asks for the state of the server, which is told also when all threads that run requests are
 * stuck: it waits for nothing that others do, and for other such requests only briefly.
 */
bool isForOperator(BDBRequest& request);

/** The name of the operation with this number (see BDBRequest), without its prefix; "Unknown" for any other number. */
QString operationName(std::size_t number);

} // namespace Requests

#endif
