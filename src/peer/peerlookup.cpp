#include "peer/peerlookup.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr timeval AnswerLimit{1, 0}; // the kernel answers immediately; a connection is not worth a longer wait

struct Question {
    nlmsghdr header{};
    inet_diag_req_v2 request{};
};

bool addressOf(int (*name)(int, sockaddr*, socklen_t*), int socket, sockaddr_in* address)
{
    socklen_t size = sizeof *address;
    if (name(socket, reinterpret_cast<sockaddr*>(address), &size) != 0)
        return false;
    if (address->sin_family != AF_INET)
        errno = EAFNOSUPPORT;
    return address->sin_family == AF_INET;
}

/** Maps IPv4-mapped addresses: a program may use an IPv6 socket to connect to ::ffff:127.0.0.1. */
std::uint32_t ipv4Of(int family, const __be32 (&address)[4])
{
    const bool isMapped = address[0] == 0 && address[1] == 0 && address[2] == htonl(0xffff);
    if (family == AF_INET)
        return address[0];
    return family == AF_INET6 && isMapped ? address[3] : INADDR_ANY;
}

/** If the other end is gone, the kernel may answer with a socket that listens on its address. */
bool isOf(const inet_diag_sockid& id, const inet_diag_msg& answer)
{
    return answer.id.idiag_sport == id.idiag_sport && answer.id.idiag_dport == id.idiag_dport &&
           ipv4Of(answer.idiag_family, answer.id.idiag_src) == id.idiag_src[0] &&
           ipv4Of(answer.idiag_family, answer.id.idiag_dst) == id.idiag_dst[0];
}

/**
 * Whether a process holds the socket. A closed one may still exist in a state such as TIME_WAIT, without an inode and
 * with user 0. A peer that has only shut down sending is in one of the FIN_WAIT states.
 */
bool isHeld(const inet_diag_msg& answer)
{
    const bool isConnected = answer.idiag_state == TCP_ESTABLISHED || answer.idiag_state == TCP_FIN_WAIT1 ||
                             answer.idiag_state == TCP_FIN_WAIT2 || answer.idiag_state == TCP_CLOSE_WAIT;
    return isConnected && answer.idiag_inode != 0;
}

/** Whether our end is still connected: then no other connection can have the same addresses and ports. */
bool stands(int socket)
{
    tcp_info info{};
    socklen_t size = sizeof info;
    return getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 &&
           (info.tcpi_state == TCP_ESTABLISHED || info.tcpi_state == TCP_CLOSE_WAIT);
}

} // namespace

int PeerLookup::open()
{
    netlink_ = Base::Descriptor(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    if (!netlink_.isOpen() ||
        setsockopt(netlink_.number(), SOL_SOCKET, SO_RCVTIMEO, &AnswerLimit, sizeof AnswerLimit) != 0)
        return errno;
    return 0;
}

int PeerLookup::find(int socket, uid_t* user)
{
    sockaddr_in ours{};
    sockaddr_in theirs{};
    if (!addressOf(getsockname, socket, &ours) || !addressOf(getpeername, socket, &theirs))
        return errno;
    // From the other end's point of view, so that the lookup does not find our own socket.
    inet_diag_sockid id{};
    id.idiag_sport = theirs.sin_port;
    id.idiag_dport = ours.sin_port;
    id.idiag_src[0] = theirs.sin_addr.s_addr;
    id.idiag_dst[0] = ours.sin_addr.s_addr;
    id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
    id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;

    inet_diag_msg answer{};
    if (const int error = ask(id, &answer))
        return error;
    if (!isOf(id, answer) || !isHeld(answer) || !stands(socket))
        return ENOTCONN;
    *user = answer.idiag_uid;
    return 0;
}

/** Returns 0 or an errno value. */
int PeerLookup::ask(const inet_diag_sockid& id, inet_diag_msg* answer)
{
    const std::lock_guard lock(mutex_);
    Question question;
    question.header.nlmsg_len = sizeof question;
    question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.header.nlmsg_flags = NLM_F_REQUEST;
    question.header.nlmsg_seq = ++sequence_;
    question.request.sdiag_family = AF_INET;
    question.request.sdiag_protocol = IPPROTO_TCP;
    question.request.idiag_states = ~0U;
    question.request.id = id;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (sendto(netlink_.number(), &question, sizeof question, 0, reinterpret_cast<const sockaddr*>(&kernel),
               sizeof kernel) < 0)
        return errno;

    alignas(nlmsghdr) char buffer[1024];
    for (;;) {
        sockaddr_nl sender{};
        socklen_t senderSize = sizeof sender;
        const ssize_t size =
            recvfrom(netlink_.number(), buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&sender), &senderSize);
        if (size < 0 && errno == EINTR)
            continue;
        if (size < 0)
            return errno == EAGAIN ? ETIMEDOUT : errno;
        nlmsghdr header{};
        if (static_cast<std::size_t>(size) < sizeof header)
            return EPROTO;
        std::memcpy(&header, buffer, sizeof header);
        // Late answers to requests that timed out are skipped, and so are messages from other processes.
        if (sender.nl_pid != 0 || header.nlmsg_seq != sequence_)
            continue;
        const char* const content = buffer + NLMSG_HDRLEN;
        const std::size_t contentSize = static_cast<std::size_t>(size) - NLMSG_HDRLEN;
        if (header.nlmsg_type == NLMSG_ERROR && contentSize >= sizeof(int)) {
            int error = 0;
            std::memcpy(&error, content, sizeof error);
            return error == 0 ? EPROTO : -error;
        }
        if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY || contentSize < sizeof *answer)
            return EPROTO;
        std::memcpy(answer, content, sizeof *answer);
        return 0;
    }
}
