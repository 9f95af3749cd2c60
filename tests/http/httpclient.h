#ifndef QUORVA_TESTS_HTTP_HTTPCLIENT_H
#define QUORVA_TESTS_HTTP_HTTPCLIENT_H

#include <map>
#include <string>
#include <string_view>

/** An answer as it came. */
struct HttpAnswer {
    int status = 0;                             // 0: none came, or not a whole one
    std::string reason;                         // behind the status
    std::map<std::string, std::string> headers; // names in lower case, each once
    std::string body;

    /** A header's value, empty when it is not there. */
    std::string header(const std::string& name) const;
};

/** What every request of the API looks like; `target` is an operation's short name. */
std::string apiRequest(std::string_view target, std::string_view body);

/** An error as quorva-http makes it, with the headers of every answer. */
void expectError(const HttpAnswer& answer, int status, const std::string& type, const std::string& message);

/** CRC-32 in decimal, computed bit by bit. */
std::string crc32Of(std::string_view bytes);

/**
 * A bare connection to a port of this machine, for bytes that no HTTP client would send. Receiving gives up after a
 * minute. For one thread at a time.
 */
class HttpClient {
public:
    /** Closed, with a test failure, when it is refused. */
    explicit HttpClient(int port);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    /** False when the other side has closed. */
    bool send(std::string_view bytes);

    /** Reads one answer; `hasBody` is false for those to HEAD. Status 0 when the connection ended before. */
    HttpAnswer receive(bool hasBody = true);

    HttpAnswer exchange(std::string_view bytes);
    HttpAnswer call(std::string_view target, std::string_view body) { return exchange(apiRequest(target, body)); }

    /** Tells the other side that nothing more comes, and waits until it closes; what it sends is dropped. */
    bool finish();

    /** Waits until the other side closes; false when bytes come instead. */
    bool isClosedByPeer();

    /** Closes the connection: with a reset of it, or in good order. */
    void close(bool reset = false);

private:
    bool fill();

    int socket_;
    std::string received_; // and not taken
};

/** True when something listens at an address of this machine. */
bool canConnect(const char* address, int port);

#endif
