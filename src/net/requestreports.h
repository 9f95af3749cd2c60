#ifndef QUORVA_NET_REQUESTREPORTS_H
#define QUORVA_NET_REQUESTREPORTS_H

#include <chrono>

struct BDBRequest;
struct RequestSubject;

/** Reports of single requests for operators. `socket` is the client's. Any thread. */
namespace Net {

/** A request with a trace that has taken `total`, of which `afterwards` since its reply was composed. */
void reportSlow(const BDBRequest& request, std::chrono::nanoseconds total, std::chrono::nanoseconds afterwards,
                int socket);

/** A request that failed, with its status. */
void reportFailure(const BDBRequest& request, const RequestSubject& subject, int socket);

} // namespace Net

#endif
