#ifndef QUORVA_PEER_PEERLOOKUP_H
#define QUORVA_PEER_PEERLOOKUP_H

#include "base/descriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <mutex>

/**
 * Asks the kernel who is at the other end of a TCP connection within this machine. Owns a netlink socket, which is open
 * from the beginning: a descriptor less for connections, and none that is taken while descriptors run out. Any thread
 * may ask; they take turns, for a few microseconds each.
 */
class PeerLookup {
public:
    /** 0, or an errno: this system, or what confines this process, has no such sockets. Once, before find(). */
    [[nodiscard]] int open();

    /**
     * The user of the socket that the connection `socket` leads to: the effective one of the process that created it,
     * whoever uses it by now. 0, or an errno: ENOENT when there is no such socket, ENOTCONN when it was closed since or
     * our own end was reset. Neither leaves a user behind, and `user` is not touched.
     */
    [[nodiscard]] int find(int socket, uid_t* user);

private:
    int ask(const struct inet_diag_sockid& id, struct inet_diag_msg* answer);

    std::mutex mutex_;
    Base::Descriptor netlink_;   // set by open() alone
    std::uint32_t sequence_ = 0; // guarded by mutex_, of the latest question
};

#endif
