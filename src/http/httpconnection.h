#ifndef QUORVA_HTTP_HTTPCONNECTION_H
#define QUORVA_HTTP_HTTPCONNECTION_H

#include "http/workerpool.h"

#include <httplib.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace Http {

/** How long a client may take, and what tells its connection to end early. */
struct ConnectionLimits {
    std::chrono::milliseconds keepAlive{}; // for the next request to begin
    std::chrono::milliseconds transfer{};  // for the next bytes of a request, or to take some of an answer
    std::size_t headBytes = 0;             // a request line and its headers
    int stopping = -1;                     // eventfd that is readable once the program ends
    Crowd* crowd = nullptr;                // not owned
};

/** A client's connection as the HTTP library reads and writes it. For one thread. */
class HttpConnection : public httplib::Stream {
public:
    /** Takes the socket over. */
    HttpConnection(int socket, const ConnectionLimits& limits);
    ~HttpConnection() override;
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    /**
     * Waits until a request begins; false when none will, or when the client lets too much time pass while others wait.
     * One that is there is served even if it is time to end.
     */
    [[nodiscard]] bool waitForRequest();

    /** A request's head begins, of which only so much is read as the limits allow; it is complete. */
    void beginHead() { headLeft_ = limits_.headBytes; }
    void endHead() { headLeft_ = Unlimited; }

    /**
     * Puts `reason` behind the status in the head of the next answer, where the library knows only its own texts. No
     * text, or one that a status line cannot have, leaves those.
     */
    void setReason(const std::string& reason);

    /**
     * Ends the connection so that the client gets the latest answer even while it still sends: a socket that is closed
     * on unread bytes takes the answer back.
     */
    void finish();

    bool is_readable() const override;
    bool is_writable() const override;
    /** As the library wants them: below 0 for a failure, 0 at the end of the stream. */
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return socket_; }

private:
    static constexpr std::size_t Unlimited = static_cast<std::size_t>(-1);

    bool waitFor(short events, std::chrono::milliseconds limit) const;
    bool waitForBytes();
    ssize_t fill();
    bool sendAll(const std::string& bytes);
    ssize_t sendSome(const char* data, size_t size);

    const int socket_;
    const ConnectionLimits& limits_;
    std::array<char, 4096> buffer_;
    std::size_t begin_ = 0; // of what was received and not read
    std::size_t end_ = 0;
    std::size_t headLeft_ = Unlimited;                                // bytes
    std::string reason_;                                              // for the next head that is written
    std::optional<std::chrono::steady_clock::time_point> lastMoment_; // to read, once the program ends
};

} // namespace Http

#endif
