#include "tools/importlanes.h"

#include "format/partitions.h"
#include "protocol/envelope.h"
#include "tools/exitcode.h"
#include "tools/replies.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>

namespace Ctl {

namespace {

constexpr unsigned Lanes = 4; // more gain little: these keep both sides busy

} // namespace

ImportLanes::ImportLanes(const ServerAddress& server, std::string table, ImportAccount* account)
    : table_(std::move(table)), account_(account), waitsForever_(server.timeout == 0)
{
    lanes_.reserve(Lanes);
    while (lanes_.size() < Lanes)
        lanes_.emplace_back(server);
}

int ImportLanes::add(long long line, const QByteArray& text, const ItemKey& key)
{
    Lane& lane = laneOf(key);
    if (lane.next.contains(key) || !lane.next.hasRoomFor(text.size())) {
        int code = waitFor(lane);
        if (code == ExitOk)
            code = sendToIdle();
        if (code != ExitOk)
            return code;
    }
    account_->addItem();
    lane.next.add(line, text, key);
    // Send the others as well: few items may go to the lane of the first line that is not done.
    return lane.next.isFull() && !lane.isBusy ? sendToIdle() : ExitOk;
}

ImportLanes::Lane& ImportLanes::laneOf(const ItemKey& key)
{
    const QByteArray hashKey = key.first.toLatin1();
    return lanes_[Partitions::ofHashKey({hashKey.cbegin(), hashKey.cend()}, Lanes)];
}

/** The lane is idle. */
int ImportLanes::send(Lane* lane)
{
    std::swap(lane->sent, lane->next);
    lane->next.clear();
    lane->number = ++requests_;
    const QByteArray body = lane->sent.requestBody(table_, 0, lane->sent.size());
    if (lane->session.send(Operations::BatchWriteItem, body) != ExitOk)
        return account_->stop(ExitNoReply, "no reply came");
    lane->isBusy = true;
    return ExitOk;
}

int ImportLanes::sendToIdle()
{
    int code = ExitOk;
    for (Lane& lane : lanes_) {
        if (code == ExitOk && !lane.isBusy && !lane.next.isEmpty())
            code = send(&lane);
    }
    return code;
}

int ImportLanes::sendAll()
{
    for (;;) {
        if (const int code = sendToIdle())
            return code;
        const auto busy = std::find_if(lanes_.cbegin(), lanes_.cend(), [](const Lane& lane) { return lane.isBusy; });
        if (busy == lanes_.cend())
            return account_->moveMark(); // also past lines without an item
        if (const int code = waitFor(*busy))
            return code;
    }
}

/** Takes replies until the one to the lane's batch has arrived. The next batch has then been sent if it was full. */
int ImportLanes::waitFor(const Lane& lane)
{
    const long long request = lane.number;
    while (lane.isBusy && lane.number == request) {
        std::vector<pollfd> watched;
        watchReplies(&watched);
        // With a time limit for replies, receiving one enforces it.
        if (waitsForever_ && ::poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR)
            return account_->stop(ExitNoReply, std::string("cannot wait for replies: ") + std::strerror(errno));
        for (std::size_t i = 0; !waitsForever_ && i < lanes_.size(); ++i) {
            if (&lanes_[i] == &lane)
                watched[i].revents = POLLIN;
        }
        if (const int code = takeReplies(watched))
            return code;
    }
    return ExitOk;
}

void ImportLanes::watchReplies(std::vector<pollfd>* watched) const
{
    for (const Lane& lane : lanes_)
        watched->push_back({lane.isBusy ? lane.session.socketDescriptor() : -1, POLLIN, 0});
}

int ImportLanes::takeReplies(const std::vector<pollfd>& watched)
{
    for (std::size_t i = 0; i < lanes_.size(); ++i) {
        Lane& lane = lanes_[i];
        if (watched[i].revents == 0)
            continue;
        int code = takeReply(&lane);
        if (code == ExitOk && lane.next.isFull())
            code = sendToIdle();
        if (code != ExitOk)
            return code;
    }
    return ExitOk;
}

int ImportLanes::takeReply(Lane* lane)
{
    QVariantMap reply;
    int code = receive(lane, &reply);
    if (code == ExitNoReply)
        return account_->stop(code, "no reply came");
    for (std::size_t i = 0; code == ExitOk && i < lane->sent.size(); ++i)
        setStored(*lane, i);
    if (code == ExitErrorReply)
        code = sendOneByOne(lane);
    return code == ExitOk ? account_->moveMark() : code;
}

int ImportLanes::sendOneByOne(Lane* lane)
{
    for (std::size_t i = 0; i < lane->sent.size(); ++i) {
        QVariantMap reply;
        lane->number = ++requests_;
        int code = lane->session.send(Operations::BatchWriteItem, lane->sent.requestBody(table_, i, 1));
        if (code == ExitOk)
            code = receive(lane, &reply);
        if (code == ExitNoReply)
            return account_->stop(code, "no reply came");
        if (code == ExitOk) {
            setStored(*lane, i);
            continue;
        }
        const std::string reason = Envelopes::isSuccess(reply) ? "it was returned unprocessed" : serverSays(reply);
        if (const int tooMany = account_->setRefused(lane->sent.lineOf(i), reason, requests_))
            return tooMany;
    }
    return ExitOk;
}

/** Returns ExitOk only when nothing was returned unprocessed. */
int ImportLanes::receive(Lane* lane, QVariantMap* reply)
{
    lane->isBusy = false;
    const int code = lane->session.receive(reply);
    return code == ExitOk && !reply->value("UnprocessedItems").toMap().isEmpty() ? int{ExitErrorReply} : code;
}

void ImportLanes::setStored(const Lane& lane, std::size_t item)
{
    account_->setStored(lane.sent.lineOf(item), lane.number);
}

void ImportLanes::settle(bool arrived)
{
    for (Lane& lane : lanes_) {
        char first = 0;
        if (!lane.isBusy ||
            (arrived && ::recv(lane.session.socketDescriptor(), &first, 1, MSG_PEEK | MSG_DONTWAIT) != 1))
            continue;
        QVariantMap reply;
        const bool stored = receive(&lane, &reply) == ExitOk;
        for (std::size_t i = 0; stored && i < lane.sent.size(); ++i)
            setStored(lane, i);
    }
}

} // namespace Ctl
