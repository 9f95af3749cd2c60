#ifndef QUORVA_REQUEST_DISPATCH_H
#define QUORVA_REQUEST_DISPATCH_H

#include <QString>

#include <cstddef>

struct BDBRequest;

/** From a received request to its operation. Any thread. */
namespace Requests {

/** Decides on which thread a request runs. */
enum class Duration {
    /** Reads or writes a few records of what is open, or finds out that it takes long: on any thread. */
    Short,
    /** Not on a thread that others wait for. */
    Long,
    /**
     * Asks for the state of the server, and is answered even when all threads that run requests are stuck: it waits for
     * nothing that others do, and for other such requests only briefly. On a thread of its own.
     */
    Apart
};

/** Judges a received request by its operation and by the size of its body, which need not be parsed yet. */
Duration durationOf(BDBRequest& request);

/** Parses the body and runs the operation. False, without having run it, if the body is not JSON. */
[[nodiscard]] bool run(BDBRequest& request);

/**
 * The second half of run(), for a body that is already parsed: runs the operation that the request names, on the
 * calling thread. Sets the request's status; the operation fills its reply map. An unknown name is one ERROR line and
 * status 2. If the request's table context only finds what is open, a long request gets StatusTakesLong and must be
 * reset before it is run again. Afterwards `environment` is the use of the environment: if its unflushed() has any
 * commits, a flush must end it before the reply may be sent.
 */
void dispatch(BDBRequest& request);

/** The name of the operation with this number (see BDBRequest), without its prefix; "Unknown" for any other number. */
QString operationName(std::size_t number);

} // namespace Requests

#endif
