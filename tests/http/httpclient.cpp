#include "http/httpclient.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

int connectedSocket(const char* address, int port)
{
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, address, &target.sin_addr);
    const timeval limit{60, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&target), sizeof target) == 0)
        return descriptor;
    close(descriptor);
    return -1;
}

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/** The status line and the headers, from `text` up to the empty line. */
void readHead(const std::string& text, HttpAnswer* answer)
{
    EXPECT_EQ(text.substr(0, 9), "HTTP/1.1 ");
    const std::size_t lineEnd = text.find("\r\n");
    answer->status = std::atoi(text.c_str() + 9);
    answer->reason = text.substr(13, lineEnd - 13);
    for (std::size_t begin = lineEnd + 2; begin < text.size();) {
        const std::size_t end = text.find("\r\n", begin);
        const std::size_t colon = text.find(": ", begin);
        const bool isNew =
            answer->headers
                .emplace(lowerCase(text.substr(begin, colon - begin)), text.substr(colon + 2, end - colon - 2))
                .second;
        EXPECT_TRUE(isNew) << "a header comes twice: " << text;
        begin = end + 2;
    }
}

} // namespace

std::string HttpAnswer::header(const std::string& name) const
{
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
}

std::string apiRequest(std::string_view target, std::string_view body)
{
    return "POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20111205." + std::string(target) +
           "\r\nContent-Type: application/x-amz-json-1.0\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + std::string(body);
}

std::string crc32Of(std::string_view bytes)
{
    std::uint32_t value = 0xffffffffU;
    for (const char c : bytes) {
        value ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit)
            value = (value >> 1) ^ ((value & 1U) != 0 ? 0xedb88320U : 0U);
    }
    return std::to_string(~value);
}

void expectError(const HttpAnswer& answer, int status, const std::string& type, const std::string& message)
{
    EXPECT_EQ(answer.status, status);
    EXPECT_EQ(answer.body,
              R"({"__type":"com.amazonaws.dynamodb.v20111205#)" + type + R"(","message":")" + message + "\"}");
    EXPECT_EQ(answer.header("content-type"), "application/x-amz-json-1.0");
    EXPECT_EQ(answer.header("x-amz-crc32"), crc32Of(answer.body));
    EXPECT_EQ(answer.header("x-amzn-requestid").size(), 36U);
}

HttpClient::HttpClient(int port) : socket_(connectedSocket("127.0.0.1", port))
{
    EXPECT_GE(socket_, 0) << "nobody listens on port " << port;
}

HttpClient::~HttpClient()
{
    close();
}

bool HttpClient::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

HttpAnswer HttpClient::receive(bool hasBody)
{
    HttpAnswer answer;
    std::size_t headEnd = 0;
    while ((headEnd = received_.find("\r\n\r\n")) == std::string::npos)
        if (!fill())
            return answer;
    readHead(received_.substr(0, headEnd + 2), &answer);
    received_.erase(0, headEnd + 4);
    const std::size_t length =
        hasBody ? static_cast<std::size_t>(std::atoll(answer.header("content-length").c_str())) : 0;
    while (received_.size() < length)
        if (!fill())
            return {};
    answer.body = received_.substr(0, length);
    received_.erase(0, length);
    return answer;
}

HttpAnswer HttpClient::exchange(std::string_view bytes)
{
    EXPECT_TRUE(send(bytes)) << "the other side has closed";
    return receive();
}

bool HttpClient::finish()
{
    shutdown(socket_, SHUT_WR);
    while (fill()) {
    }
    return errno != EAGAIN;
}

bool HttpClient::isClosedByPeer()
{
    return !fill() && received_.empty() && errno != EAGAIN;
}

void HttpClient::close(bool reset)
{
    if (socket_ < 0)
        return;
    if (reset) {
        const linger hard{1, 0};
        setsockopt(socket_, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    }
    ::close(socket_);
    socket_ = -1;
}

/** False at the end of the connection, or if nothing is received for a minute (EAGAIN). */
bool HttpClient::fill()
{
    char piece[65536];
    errno = 0;
    const ssize_t received = recv(socket_, piece, sizeof piece, 0);
    if (received <= 0)
        return false;
    received_.append(piece, static_cast<std::size_t>(received));
    return true;
}

bool canConnect(const char* address, int port)
{
    const int descriptor = connectedSocket(address, port);
    if (descriptor >= 0)
        close(descriptor);
    return descriptor >= 0;
}
