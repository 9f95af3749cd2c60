#ifndef QUORVA_TESTS_HTTP_HTTPCLIENT_H
#define QUORVA_TESTS_HTTP_HTTPCLIENT_H

#include <map>
#include <string>
#include <string_view>

/** An answer as received. */
struct HttpAnswer {
    int status = 0;                             // 0: none, or an incomplete one, was received
    std::string reason;                         // follows the status
    std::map<std::string, std::string> headers; // with names in lower case, each once
    std::string body;

    /** A header's value; empty if there is no such header. */
    std::string header(const std::string& name) const;
};

/** A request of the API; `target` is an operation's short name. */
std::string apiRequest(std::string_view target, std::string_view body);

/** Expects an error of quorva-http itself, with the headers of every answer. */
void expectError(const HttpAnswer& answer, int status, const std::string& type, const std::string& message);

/** CRC-32 in decimal, computed bit by bit. */
std::string crc32Of(std::string_view bytes);

/**
 * A raw connection to a port of this machine, for bytes that no HTTP client would send. Receiving times out after a
 * minute. For one thread at a time.
 */
class HttpClient {
public:
    /** Closed, with a test failure, if the connection is refused. */
    explicit HttpClient(int port);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    /** False if the peer has closed the connection. */
    bool send(std::string_view bytes);

    /** Reads one answer; `hasBody` is false for those to HEAD. Its status is 0 if the connection ends first. */
    HttpAnswer receive(bool hasBody = true);

    HttpAnswer exchange(std::string_view bytes);
    HttpAnswer call(std::string_view target, std::string_view body) { return exchange(apiRequest(target, body)); }

    /** Shuts down the sending side and waits until the peer closes; discards what it sends. */
    bool finish();

    /** Waits until the peer closes the connection; false if it sends bytes instead. */
    bool isClosedByPeer();

    /** Closes the connection, with a reset or in an orderly way. */
    void close(bool reset = false);

private:
    bool fill();

    int socket_;
    std::string received_; // but not consumed yet
};

/** True if something listens at an address of this machine. */
bool canConnect(const char* address, int port);

#endif
