#include "load/loadclient.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace Bench {

namespace {

// Names come in order, so that these are the last of every reply that reports success.
constexpr std::string_view SuccessEnd = R"("__rc":200,"__rcstr":"OK"})";

} // namespace

LoadClient::LoadClient(Client::WireConnection connection, RequestMaker requests)
    : connection_(std::move(connection)), requests_(std::move(requests))
{}

bool LoadClient::sendNext()
{
    const QByteArray& bytes = requests_.next();
    requestBytes_ = static_cast<std::size_t>(bytes.size());
    received_ = 0;
    expected_ = 0;
    sent_ = Clock::now();
    return connection_.send(bytes);
}

LoadClient::Progress LoadClient::receive(std::span<char> buffer)
{
    for (;;) {
        const ssize_t count = recv(connection_.socketDescriptor(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return Progress::Waiting;
        if (count <= 0)
            return Progress::Lost;
        takeBytes(buffer.data(), static_cast<std::size_t>(count));
        if (expected_ != 0 && received_ >= expected_)
            return received_ == expected_ ? Progress::Replied : Progress::Lost;
    }
}

void LoadClient::takeBytes(const char* bytes, std::size_t count)
{
    if (received_ < PrefixBytes) {
        const std::size_t missing = std::min(PrefixBytes - received_, count);
        std::copy_n(bytes, missing, prefix_.data() + received_);
        if (received_ + missing == PrefixBytes)
            expected_ = PrefixBytes + Framing::readLength(prefix_.data());
    }
    received_ += count;
    const std::size_t fresh = std::min(count, KeptBytes);
    std::memmove(kept_.data(), kept_.data() + fresh, KeptBytes - fresh);
    std::copy_n(bytes + count - fresh, fresh, kept_.data() + KeptBytes - fresh);
}

void LoadClient::countReply(const Window& window, Clock::time_point now, Result* result) const
{
    if (succeeded())
        result->addSuccess(window, sent_, now, requestBytes_, received_);
    else
        ++result->errors;
}

bool LoadClient::succeeded() const
{
    return std::string_view(kept_.data(), KeptBytes).ends_with(SuccessEnd) &&
           received_ > PrefixBytes + SuccessEnd.size();
}

QByteArray LoadClient::replyEnd() const
{
    const std::size_t count = std::min(KeptBytes, std::max(received_, PrefixBytes) - PrefixBytes);
    return {kept_.data() + KeptBytes - count, static_cast<qsizetype>(count)};
}

} // namespace Bench
