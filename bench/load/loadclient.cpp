#include "load/loadclient.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace Bench {

LoadClient::LoadClient(Client::WireConnection connection, RequestMaker requests, Interface interface)
    : connection_(std::move(connection)), requests_(std::move(requests)), reply_(interface)
{}

bool LoadClient::sendNext()
{
    const QByteArray& bytes = requests_.next();
    requestBytes_ = static_cast<std::size_t>(bytes.size());
    reply_.begin();
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
        reply_.takeBytes(buffer.data(), static_cast<std::size_t>(count));
        if (reply_.isBroken())
            return Progress::Lost;
        if (reply_.isComplete())
            return Progress::Replied;
    }
}

void LoadClient::countReply(const Window& window, Clock::time_point now, Result* result) const
{
    if (succeeded())
        result->addSuccess(window, sent_, now, requestBytes_, reply_.received());
    else
        ++result->errors;
}

} // namespace Bench
