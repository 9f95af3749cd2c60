#ifndef QUORVA_PEER_ALLOWEDUSERS_H
#define QUORVA_PEER_ALLOWEDUSERS_H

#include "peer/peerlookup.h"

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

/**
 * The users of this machine who may connect to a port of the loopback. Until restrictTo(), all may, without a lookup.
 * One thread sets it up; from then on any thread may use it.
 */
class AllowedUsers {
public:
    /**
     * Allows only the users in `list`: names or numbers, separated by commas, without spaces. Returns an empty string,
     * or what is wrong with the list or the system; in that case the program must not serve.
     */
    [[nodiscard]] std::string restrictTo(std::string_view list);

    bool isRestricted() const { return isRestricted_; }

    /**
     * Whether the user at the other end of a connection may connect; one who cannot be determined may not. If not,
     * `refusal` is the reason, in words for a log: "user 1001 is not allowed".
     */
    [[nodiscard]] bool admits(int socket, std::string* refusal);

private:
    bool isRestricted_ = false;
    std::vector<uid_t> users_; // sorted
    PeerLookup lookup_;
};

#endif
