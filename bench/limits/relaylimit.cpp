#include "common/commandline.h"

#include "base/descriptor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr int MostEvents = 128;

/** One direction of a connection that is passed on. */
struct Stream {
    int from;
    int to;
};

/** A client's connection and the one to the server. Both are closed when either end closes. */
struct Relayed {
    Base::Descriptor client;
    Base::Descriptor server;
    Stream request{client.number(), server.number()};
    Stream reply{server.number(), client.number()};
};

sockaddr_in loopback(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

void sendAtOnce(int socket)
{
    const int on = 1;
    (void)setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // it is only slower without
}

void spend(std::chrono::nanoseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    while (time.count() > 0 && std::chrono::steady_clock::now() < end) {
    }
}

/** Passes on what clients and server send, with one thread. */
class Relay {
public:
    Relay(int serverPort, std::chrono::nanoseconds busy) : server_(loopback(serverPort)), busy_(busy) {}

    /** False if the port is taken. */
    [[nodiscard]] bool listen(int port)
    {
        listening_ = Base::Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const int on = 1;
        (void)setsockopt(listening_.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on); // for TIME_WAIT
        const sockaddr_in address = loopback(port);
        return bind(listening_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
               ::listen(listening_.number(), SOMAXCONN) == 0 && watch(listening_.number(), nullptr) &&
               watch(STDIN_FILENO, &end_);
    }

    /** Until standard input ends, or a connection to the server fails. */
    void run()
    {
        std::array<epoll_event, MostEvents> events{};
        for (;;) {
            const int count = epoll_wait(epoll_.number(), events.data(), MostEvents, -1);
            for (int i = 0; i < count; ++i) {
                auto* const stream = static_cast<Stream*>(events[static_cast<std::size_t>(i)].data.ptr);
                if (stream == &end_ || (stream == nullptr && !accept()))
                    return;
                if (stream != nullptr)
                    passOn(*stream);
            }
        }
    }

private:
    bool watch(int descriptor, Stream* stream)
    {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.ptr = stream;
        return epoll_ctl(epoll_.number(), EPOLL_CTL_ADD, descriptor, &event) == 0;
    }

    bool accept()
    {
        Base::Descriptor client(accept4(listening_.number(), nullptr, nullptr, SOCK_CLOEXEC));
        Base::Descriptor server(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (connect(server.number(), reinterpret_cast<const sockaddr*>(&server_), sizeof server_) != 0)
            return false;
        sendAtOnce(client.number());
        sendAtOnce(server.number());
        relayed_.push_back(std::make_unique<Relayed>(Relayed{std::move(client), std::move(server)}));
        Relayed& added = *relayed_.back();
        return watch(added.request.from, &added.request) && watch(added.reply.from, &added.reply);
    }

    /** A closed or lost connection closes the other one; both are kept, as an event of the other may be in hand. */
    void passOn(const Stream& stream)
    {
        const ssize_t received = recv(stream.from, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        spend(busy_);
        if (received > 0)
            (void)send(stream.to, buffer_.data(), static_cast<std::size_t>(received), MSG_NOSIGNAL); // both are read
        else
            (void)shutdown(stream.to, SHUT_RDWR);
        if (received <= 0)
            (void)epoll_ctl(epoll_.number(), EPOLL_CTL_DEL, stream.from, nullptr);
    }

    const sockaddr_in server_;
    const std::chrono::nanoseconds busy_;
    Base::Descriptor epoll_{epoll_create1(EPOLL_CLOEXEC)};
    Base::Descriptor listening_;
    std::vector<std::unique_ptr<Relayed>> relayed_;
    std::array<char, 65536> buffer_{};
    Stream end_{STDIN_FILENO, -1};
};

} // namespace

// Only running out of memory throws; the program ends then. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    int port = 4569;
    int server = 4567;
    int busy = 0;
    Bench::CommandLine line(
        "The least that a program between clients and the server can do, as quorva-http is one: passes on the bytes of "
        "the wire protocol without looking at them. Runs until standard input ends.");
    line.option("-p,--port", port, "Port on 127.0.0.1");
    line.option("--server", server, "Port of the server");
    line.option("--busy", busy, "Nanoseconds of work for each piece that it passes on: a request, a reply");
    if (int code = 0; !line.parse(argc, argv, &code))
        return code;

    Relay relay(server, std::chrono::nanoseconds(busy));
    if (!relay.listen(port)) {
        std::perror("relay-limit: listen");
        return 1;
    }
    relay.run();
    return 0;
}
