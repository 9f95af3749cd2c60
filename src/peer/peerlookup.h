#ifndef QUORVA_PEER_PEERLOOKUP_H
#define QUORVA_PEER_PEERLOOKUP_H

#include "base/descriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <mutex>

/**
 * Asks the kernel which user is at the other end of a TCP connection within this machine. Owns a netlink socket, opened
 * in advance so that lookups work even when descriptors run out. Any thread may call find(); lookups are serialised and
 * take a few microseconds each.
 */
class PeerLookup {
public:
    /**
     * Returns 0, or an errno value when the system or the process's sandbox does not permit such sockets. Call once,
     * before find().
     */
    [[nodiscard]] int open();

    /**
     * Finds the user of the socket at the other end of the connection `socket`: the effective user of the process that
     * created it, whichever process uses it now. Returns 0 or an errno value: ENOENT if there is no such socket,
     * ENOTCONN if it has been closed or our own end was reset. On failure `user` is not changed.
     */
    [[nodiscard]] int find(int socket, uid_t* user);

private:
    int ask(const struct inet_diag_sockid& id, struct inet_diag_msg* answer);

    std::mutex mutex_;
    Base::Descriptor netlink_;   // set only by open()
    std::uint32_t sequence_ = 0; // guarded by mutex_; of the latest request
};

#endif
