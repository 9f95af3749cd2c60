#include "http/statusprobe.h"

#include "protocol/envelope.h"
#include "protocol/operations.h"
#include "json/jsonreader.h"

#include <QDeadlineTimer>

#include <utility>

namespace Http {

StatusProbe::StatusProbe(Upstream upstream, std::chrono::milliseconds limit)
    : upstream_(std::move(upstream)), limit_(limit), thread_([this] { work(); })
{}

StatusProbe::~StatusProbe()
{
    {
        const std::lock_guard lock(mutex_);
        isOver_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void StatusProbe::ask(Done done)
{
    {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(done));
    }
    changed_.notify_one();
}

void StatusProbe::work()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return isOver_ || !waiting_.empty(); });
        if (isOver_)
            return;
        const std::vector<Done> asking = std::exchange(waiting_, {});
        lock.unlock();
        const Result result = question();
        for (const Done& done : asking)
            done(result);
        lock.lock();
    }
}

/** On a new connection, since a server that accepts none is not healthy either. */
StatusProbe::Result StatusProbe::question() const
{
    const QDeadlineTimer deadline(limit_);
    const auto milliseconds = static_cast<int>(limit_.count());
    Client::WireConnection connection;
    connection.setConnectTimeout(milliseconds);
    connection.setReceiveTimeout(milliseconds);
    connection.setDeadline(deadline);
    QByteArray text;
    QVariant reply;
    if (!connection.open(upstream_.host, upstream_.port))
        return failed(deadline.hasExpired() ? "accepts no connection" + withinLimit()
                                            : "cannot be reached: " + connection.error().toUtf8());
    if (!connection.exchange(Operations::Status.fullName(), "{}", &text))
        return failed(deadline.hasExpired() ? "does not answer" + withinLimit()
                                            : "does not answer: " + connection.error().toUtf8());
    if (!Json::parse(text, &reply) || !Envelopes::isSuccess(reply.toMap()))
        return failed("answers, but does not report its status; it may be of another version");
    return {true, reply.toMap(), {}};
}

QByteArray StatusProbe::withinLimit() const
{
    return " within " + QByteArray::number(static_cast<double>(limit_.count()) / 1000) + " s";
}

StatusProbe::Result StatusProbe::failed(const QByteArray& what) const
{
    return {false,
            {},
            "The server at " + upstream_.host.toUtf8() + ':' + QByteArray::number(upstream_.port) + ' ' + what + '.'};
}

} // namespace Http
