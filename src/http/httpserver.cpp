#include "http/httpserver.h"

#include "http/apierror.h"
#include "http/workerpool.h"

#include <QByteArray>
#include <QList>
#include <QUuid>

#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

namespace Http {

namespace {

constexpr const char* Loopback = "127.0.0.1";
constexpr const char* ContentType = "application/x-amz-json-1.0";
constexpr const char* TooLarge = "The body is too large";
constexpr std::size_t HeadBytes = 65536;

enum : int {
    Continue = 100,
    BadRequest = 400,
    Forbidden = 403,
    NotFound = 404,
    MethodNotAllowed = 405,
    PayloadTooLarge = 413,
    InternalError = 500,
};

/** What this thread serves; the library has no place for it where a handler could find it. */
struct Serving {
    HttpConnection* connection = nullptr;
    bool requestIsWhole = false; // it was read to its end, so that the connection can carry another
    bool clientEnds = false;     // the client asked for the end of the connection
    bool isLast = false;         // of its connection
};
thread_local Serving serving;

void setError(httplib::Response& response, int status, const char* type, const char* message)
{
    const QByteArray body = errorBody(type, message);
    response.status = status;
    response.set_content(body.constData(), static_cast<size_t>(body.size()), ContentType);
}

/** Answers what the library refuses by itself. */
void fillError(const httplib::Request&, httplib::Response& response)
{
    if (response.body.empty())
        setError(response, response.status, ErrorType::InvalidRequest,
                 "The request is no HTTP that is understood here");
}

std::string checksum(const std::string& body)
{
    uLong value = crc32_z(0, nullptr, 0);
    value = crc32_z(value, reinterpret_cast<const Bytef*>(body.data()), body.size());
    return std::to_string(value);
}

/** Whether a header asks for the end of the connection, as one of its words, in any case. */
bool asksForClose(const std::string& value)
{
    const QList<QByteArray> words = QByteArray::fromStdString(value).toLower().split(',');
    return std::any_of(words.begin(), words.end(), [](const QByteArray& word) { return word.trimmed() == "close"; });
}

/**
 * Takes from a request what the library would act upon, and the API does not know; and sees for itself whether the
 * client asks for the connection's end, which the library only sees in one spelling.
 */
void simplify(httplib::Request& request)
{
    serving.clientEnds = asksForClose(request.get_header_value("Connection"));
    request.ranges.clear();
    request.headers.erase("Content-Type"); // forms and multipart bodies would be taken apart
}

/** False for lengths that the library would read as something else, or not see the end of. */
bool hasPlainLength(const httplib::Request& request)
{
    const std::string length = request.get_header_value("Content-Length");
    const bool isNumber =
        length.size() < 19 && std::all_of(length.begin(), length.end(), [](char c) { return c >= '0' && c <= '9'; });
    const std::string encoding = request.get_header_value("Transfer-Encoding");
    return isNumber && request.get_header_value_count("Content-Length") <= 1 &&
           (encoding.empty() || encoding == "chunked");
}

/** Answers what is no API request by its first line and headers; their bodies are never read. */
httplib::Server::HandlerResponse refuse(const httplib::Request& request, httplib::Response& response)
{
    if (request.path != "/") {
        setError(response, NotFound, ErrorType::InvalidRequest, "The only path is /");
    } else if (request.method != "POST") {
        response.set_header("Allow", "POST");
        setError(response, MethodNotAllowed, ErrorType::InvalidRequest, "The only method is POST");
    } else if (!hasPlainLength(request)) {
        setError(response, BadRequest, ErrorType::InvalidRequest, "The length of the body is not understood");
    } else {
        return httplib::Server::HandlerResponse::Unhandled;
    }
    return httplib::Server::HandlerResponse::Handled;
}

/** Tells of a request that was refused for a header's value, which may hold anything. */
void tellRefused(const char* what, std::string value)
{
    constexpr std::size_t Shown = 100;
    const char* const rest = value.size() > Shown ? "..." : "";
    value.resize(std::min(value.size(), Shown));
    std::replace_if(
        value.begin(), value.end(), [](char c) { return c < ' ' || c > '~' || c == '"'; }, '?');
    std::fprintf(stderr, "quorva-http: request refused, %s \"%s%s\" is not served\n", what, value.c_str(), rest);
}

void setSocketOptions(socket_t socket)
{
    // A port whose latest connections linger can be taken, one that is listened on cannot.
    const int on = 1;
    (void)setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on); // ignored: bind tells
}

} // namespace

HttpServer::HttpServer(const HttpLimits& limits, AllowedHosts hosts, Gateway* gateway, AllowedUsers* users)
    : limits_(limits), gateway_(gateway), users_(users), hosts_(std::move(hosts)), stopping_(eventfd(0, EFD_CLOEXEC)),
      crowd_(limits.threads), connectionLimits_{limits.keepAlive, limits.transfer, HeadBytes, stopping_, &crowd_}
{
    set_address_family(AF_INET);
    set_tcp_nodelay(true); // an answer goes out as head and body, and nobody confirms the one without the other
    set_socket_options(setSocketOptions);
    set_payload_max_length(limits.bodyBytes);
    set_pre_routing_handler([this](const auto& request, auto& response) {
        return isForeign(request, response) ? HandlerResponse::Handled : refuse(request, response);
    });
    set_expect_100_continue_handler(
        [this](const auto& request, auto& response) { return expectBody(request, response); });
    set_error_handler(Handler(fillError));
    set_exception_handler([](const auto&, auto& response, const std::exception_ptr&) {
        setError(response, InternalError, ErrorType::InternalServerError, "There is not enough memory");
    });
    set_post_routing_handler([this](const auto&, auto& response) { completeHeaders(&response); });
    Post("/", HandlerWithContentReader([this](const auto& request, auto& response, const auto& readBody) {
             answer(request, response, readBody);
         }));
    new_task_queue = [this] {
        running_.count_down(); // from here on the library can be stopped
        return new WorkerPool(limits_.threads, &crowd_);
    };
}

HttpServer::~HttpServer()
{
    close(stopping_);
}

int HttpServer::bind(int port)
{
    if (port == 0)
        port = bind_to_any_port(Loopback);
    else if (!bind_to_port(Loopback, port))
        port = -1;
    hosts_.setPort(port);
    // The library's queue holds five connections, and more may come at once.
    return port > 0 && ::listen(svr_sock_, SOMAXCONN) == 0 ? port : -1;
}

bool HttpServer::run()
{
    return listen_after_bind();
}

void HttpServer::endRun()
{
    running_.wait();
    (void)eventfd_write(stopping_, 1); // ignored: cannot fail, it is the first
    stop();
}

/** The library calls this on a worker for each connection. */
bool HttpServer::process_and_close_socket(socket_t socket)
{
    HttpConnection connection(socket, connectionLimits_);
    try {
        if (std::string refusal; users_->admits(socket, &refusal))
            serveConnection(&connection);
        else
            std::fprintf(stderr, "quorva-http: connection refused, %s\n", refusal.c_str());
    } catch (const std::exception& error) { // from the library, for want of memory; the connection goes, we stay
        std::fprintf(stderr, "quorva-http: a connection failed: %s\n", error.what());
    }
    serving = {};
    return true;
}

void HttpServer::serveConnection(HttpConnection* connection)
{
    bool goesOn = true;
    serving = {connection, true, false, false};
    while (goesOn && connection->waitForRequest()) {
        serving.requestIsWhole = false;
        serving.clientEnds = false;
        serving.isLast = false;
        connection->beginHead();
        const bool last = svr_sock_ == INVALID_SOCKET;
        bool clientEnds = false;
        const bool isAnswered = process_request(*connection, last, clientEnds, [&](httplib::Request& request) {
            connection->endHead();
            simplify(request);
        });
        goesOn = isAnswered && !serving.isLast && !clientEnds && !last;
    }
    if (!serving.requestIsWhole)
        connection->finish();
}

/** Sets the headers that every answer has, whoever made it. */
void HttpServer::completeHeaders(httplib::Response* response)
{
    response->set_header("x-amzn-RequestId", QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString());
    response->set_header("x-amz-crc32", checksum(response->body));
    response->headers.erase("Keep-Alive"); // the library tells limits of its own, which do not hold here
    // A busy client is told to make room with its answer, an idle one loses its connection.
    serving.isLast = !serving.requestIsWhole || serving.clientEnds || crowd_.makeRoom();
    if (serving.isLast && !response->has_header("Connection"))
        response->set_header("Connection", "close");
}

/** Answers what does not speak to us under a name of ours: a web page may do so without its user's will. */
bool HttpServer::isForeign(const httplib::Request& request, httplib::Response& response) const
{
    const std::string host = request.get_header_value("Host");
    const std::string origin = request.get_header_value("Origin");
    const std::size_t origins = request.get_header_value_count("Origin");
    if (request.get_header_value_count("Host") != 1) {
        setError(response, BadRequest, ErrorType::InvalidRequest, "There has to be one Host header");
    } else if (!hosts_.isHost(host)) {
        tellRefused("host", host);
        setError(response, Forbidden, ErrorType::AccessDenied,
                 "The host is not one of those that are served; see --allow-host");
    } else if (origins > 1 || (origins == 1 && !hosts_.isOrigin(origin))) {
        tellRefused("origin", origin);
        setError(response, Forbidden, ErrorType::AccessDenied,
                 "The origin is not one of those that are served; see --allow-host");
    } else {
        return false;
    }
    return true;
}

/** Answers a client that asks whether it may send its body: with 100, or at once. */
int HttpServer::expectBody(const httplib::Request& request, httplib::Response& response) const
{
    if (isForeign(request, response))
        return response.status;
    const std::string length = request.get_header_value("Content-Length");
    if (!hasPlainLength(request) || length.empty() || std::stoull(length) <= limits_.bodyBytes)
        return Continue;
    setError(response, PayloadTooLarge, ErrorType::RequestTooLarge, TooLarge);
    return PayloadTooLarge;
}

void HttpServer::answer(const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& readBody)
{
    QByteArray body;
    bool isTooLarge = false;
    // Without either header there is no body, and the library would wait for the end of the connection.
    const bool hasBody = request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
    serving.requestIsWhole = !hasBody || readBody([&](const char* data, size_t size) {
        isTooLarge = isTooLarge || size > limits_.bodyBytes - static_cast<std::size_t>(body.size());
        if (!isTooLarge)
            body.append(data, static_cast<qsizetype>(size));
        return true; // what is too much is read as well, so that the client comes to read the answer
    });
    if (isTooLarge || response.status == PayloadTooLarge) {
        setError(response, PayloadTooLarge, ErrorType::RequestTooLarge, TooLarge);
        return;
    }
    if (!serving.requestIsWhole) {
        setError(response, BadRequest, ErrorType::InvalidRequest,
                 "The body ended early or is not what its headers say");
        return;
    }
    const Answer made = gateway_->answer(QByteArray::fromStdString(request.get_header_value("X-Amz-Target")), body);
    response.status = made.status;
    serving.connection->setReason(made.outcome.toStdString());
    response.set_content(made.body.constData(), static_cast<size_t>(made.body.size()), ContentType);
}

} // namespace Http
