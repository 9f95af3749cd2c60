#ifndef QUORVA_TOOLS_STATUSFEED_H
#define QUORVA_TOOLS_STATUSFEED_H

#include "client/serverstatus.h"
#include "client/wireconnection.h"
#include "tools/serveraddress.h"

#include <chrono>
#include <string>

namespace Ctl {

/**
 * Requests a server's status periodically, and continues when it is not reachable. Non-blocking, so that the caller can
 * do other things while waiting for a reply: wait until descriptor() is readable or timeout() is over, then call
 * proceed().
 */
class StatusFeed {
public:
    /** Sends the first request immediately, and then one at each interval. */
    StatusFeed(ServerAddress server, std::chrono::milliseconds interval);

    /** The connection on which a reply is expected; -1 if none is. */
    int descriptor() const { return isAsked_ ? connection_.socketDescriptor() : -1; }
    /** Milliseconds until proceed() has something to do even if the descriptor is not readable. */
    int timeout() const;

    enum class News { None, Status, Failure };
    /** Sends the next request when it is due, and receives its reply. */
    News proceed();

    /** The latest status. */
    const Client::ServerStatus& status() const { return status_; }
    /** Why there was none at the latest attempt: "no reply from 127.0.0.1:4567: connect: Connection refused". */
    const std::string& failure() const { return failure_; }

private:
    using Clock = std::chrono::steady_clock;

    News ask();
    News receive();
    News fail(const std::string& reason);

    ServerAddress server_;
    const std::chrono::milliseconds interval_;
    Client::WireConnection connection_;
    bool isAsked_ = false;     // a request was sent, and its reply has not arrived
    Clock::time_point due_;    // the next request
    Clock::time_point expiry_; // of the reply
    Client::ServerStatus status_;
    std::string failure_;
};

} // namespace Ctl

#endif
