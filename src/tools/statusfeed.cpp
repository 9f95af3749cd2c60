#include "tools/statusfeed.h"

#include "protocol/envelope.h"
#include "protocol/framing.h"
#include "protocol/operations.h"
#include "tools/replies.h"
#include "json/jsonreader.h"

#include <algorithm>
#include <utility>

#include <poll.h>

namespace Ctl {

namespace {

constexpr int Patience = 5; // seconds for a reply, unless --timeout says otherwise

bool isReadable(int descriptor)
{
    pollfd watched{descriptor, POLLIN, 0};
    return ::poll(&watched, 1, 0) > 0;
}

} // namespace

StatusFeed::StatusFeed(ServerAddress server, std::chrono::milliseconds interval)
    : server_(std::move(server)), interval_(interval), due_(Clock::now())
{
    if (server_.timeout == 0)
        server_.timeout = Patience;
}

int StatusFeed::timeout() const
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>((isAsked_ ? expiry_ : due_) - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

StatusFeed::News StatusFeed::proceed()
{
    const Clock::time_point now = Clock::now();
    if (isAsked_ && isReadable(descriptor()))
        return receive();
    if (isAsked_ && now >= expiry_)
        return fail("nothing within " + std::to_string(server_.timeout) + " s");
    return !isAsked_ && now >= due_ ? ask() : News::None;
}

StatusFeed::News StatusFeed::ask()
{
    const Clock::time_point now = Clock::now();
    due_ += interval_;
    if (due_ < now) // late: missed requests are not made up for
        due_ = now + interval_;
    expiry_ = now + std::chrono::seconds(server_.timeout);
    const bool isOpen = connection_.isOpen() || connect(server_, &connection_);
    if (!isOpen || !connection_.send(Framing::frameRequest(Operations::Status.fullName(), "{}")))
        return fail(connection_.error().toStdString());
    isAsked_ = true;
    return News::None;
}

StatusFeed::News StatusFeed::receive()
{
    QByteArray text;
    QVariant reply;
    if (!connection_.receiveReply(&text))
        return fail(connection_.error().toStdString());
    if (!Json::parse(text, &reply))
        return fail("the reply is not valid JSON");
    if (!Envelopes::isSuccess(reply.toMap()))
        return fail(serverSays(reply.toMap()));
    isAsked_ = false;
    status_ = Client::ServerStatus::of(reply.toMap());
    return News::Status;
}

/** A late reply would be mistaken for that of the next request, so the connection is closed. */
StatusFeed::News StatusFeed::fail(const std::string& reason)
{
    isAsked_ = false;
    connection_.close();
    failure_ = "no status from " + server_.host + ':' + std::to_string(server_.port) + ": " + reason;
    return News::Failure;
}

} // namespace Ctl
