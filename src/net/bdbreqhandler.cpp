#include "net/bdbreqhandler.h"

#include "log/log.h"
#include "metrics/servercounters.h"
#include "metrics/waits.h"
#include "net/requestreports.h"
#include "protocol/framing.h"
#include "request/failedrequests.h"
#include "request/replyenvelope.h"
#include "request/requestsubject.h"
#include "request/slowrequests.h"
#include "json/jsonwriter.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

// The initial capacity for a body of more than one chunk.
constexpr qsizetype FirstBodyReserve = 16 * 1024;

} // namespace

BDBReqHandler::BDBReqHandler(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments, int socket,
                             const ServerView* server)
    : socket_(socket), connectionTable_(connectionTableCapacity),
      request_(environments, &connectionTable_, envTableCapacity, server)
{}

BDBReqHandler::~BDBReqHandler() = default;

int BDBReqHandler::handle()
{
    if (!readComplete_) {
        LOG_ERROR(LogOrigin::IoWorker, 573) << "handler running while read wasnt completed";
        return -1;
    }
    const bool isTraced = SlowRequests::threshold().count() > 0;
    if (isTraced)
        request_.trace.emplace().queued = Clock::now() - completedAt_;
    const Metrics::NotedWaits noted(isTraced ? &request_.trace->waits : nullptr);
    if (!Requests::run(request_)) {
        LOG_ERROR(LogOrigin::IoWorker, 579) << "parser error";
        return -1;
    }
    if (request_.status != StatusSuccess) {
        if (request_.status == StatusTakesLong) {
            restoreRequest();
            return TakesLong;
        }
        if (FailedRequests::isReported(request_.status))
            Net::reportFailure(request_, Requests::subjectOf(request_), socket_);
    }
    composeReply();
    releaseRequest();
    if (isTraced)
        request_.trace->composedAt = Clock::now();
    return reply_.isEmpty() ? -1 : 0;
}

int BDBReqHandler::handleIfShort()
{
    request_.table.onlyFind();
    return handle();
}

int BDBReqHandler::finishReply(int flushed)
{
    const QVariantMap failedReply = std::exchange(request_.failedReply, {});
    if (flushed != 0) {
        const bool wasReported = FailedRequests::isReported(request_.status);
        request_.status = flushed;
        if (!wasReported) // its body has been released, except for the table's name
            Net::reportFailure(request_, {SlowRequests::tableText(request_.table.lastTable()), {}}, socket_);
        request_.reply = failedReply;
        composeReply();
        releaseRequest();
        if (reply_.isEmpty())
            return -1;
    }
    countRequest();
    return 0;
}

/** Called before the reply is sent, so that a client that has the reply finds its request counted. */
void BDBReqHandler::countRequest()
{
    Metrics::ServerCounters& counters = Metrics::server().local();
    const auto outcome = static_cast<std::size_t>(answeredStatus(request_.status));
    const Clock::duration total = Clock::now() - completedAt_;
    counters.requests[request_.operationNumber][outcome].add(total);
    counters.bytesSent.add(static_cast<std::uint64_t>(reply_.size()));
    if (request_.trace && total > SlowRequests::threshold())
        Net::reportSlow(request_, total, completedAt_ + total - request_.trace->composedAt, socket_);
}

/** Resets the request to its received state: the next attempt must not see the effects of this one. */
void BDBReqHandler::restoreRequest()
{
    QByteArray operation = std::move(request_.operation);
    QByteArray body = std::move(request_.body);
    request_.reset();
    request_.operation = std::move(operation);
    request_.body = std::move(body);
}

/** The reply has been serialized: a client that reads it slowly must not keep the rest of the request in memory. */
void BDBReqHandler::releaseRequest()
{
    request_.body.clear();
    request_.parsedBody.clear();
    request_.reply.clear();
}

int BDBReqHandler::appendData(const char* data, unsigned len)
{
    unsigned headerSize = 0;
    if (expectedBodyLength_ == 0 && parseHeader(data, &headerSize, len) != 0)
        return -1;
    appendBody(data + headerSize, len - headerSize);
    readComplete_ = request_.body.size() >= static_cast<qsizetype>(expectedBodyLength_);
    if (readComplete_)
        completedAt_ = Clock::now();
    return 0;
}

/**
 * Kept: bytes beyond the declared length that arrived in the same chunk stay in the body, where they make it invalid
 * JSON and so close the connection. A client must wait for the reply before its next request; one that does not is
 * disconnected.
 *
 * The declared length is trusted only as far as bytes have arrived: the capacity doubles until it reaches that length.
 * So a header alone costs nothing, and a large body is copied a few times at most.
 */
void BDBReqHandler::appendBody(const char* data, unsigned len)
{
    QByteArray& body = request_.body;
    const qsizetype needed = body.size() + static_cast<qsizetype>(len);
    if (needed > body.capacity()) {
        const qsizetype roomy = std::max(FirstBodyReserve, 2 * body.capacity());
        body.reserve(std::max(needed, std::min<qsizetype>(roomy, expectedBodyLength_)));
    }
    body.append(data, static_cast<qsizetype>(len));
}

int BDBReqHandler::parseHeader(const char* data, unsigned* consumed, unsigned len)
{
    Framing::RequestHeader header;
    if (Framing::parseHeader(std::string_view(data, len), &header) != 0)
        return -1;
    request_.operation.append(header.operation.data(), static_cast<qsizetype>(header.operation.size()));
    expectedBodyLength_ = header.bodyLength;
    *consumed = static_cast<unsigned>(header.consumed);
    return 0;
}

void BDBReqHandler::composeReply()
{
    const int status = request_.status;
    if (!ReplyEnvelope::isOrdinary(status))
        LOG_ERROR(LogOrigin::IoWorker, 628) << "composeReply Error " << status;
    QByteArray frame = Framing::beginReply();
    Json::append(request_.reply, &frame);
    appendEnvelope(&frame);
    if (!Framing::finishReply(&frame)) {
        LOG_ERROR(LogOrigin::IoWorker, __LINE__) << "reply too long " << frame.size() - qsizetype{Framing::LengthSize};
        reply_.clear(); // it may be the earlier reply that this one should replace
        return;
    }
    reply_ = std::move(frame);
}

void BDBReqHandler::appendEnvelope(QByteArray* frame) const
{
    Envelope envelope = ReplyEnvelope::of(request_.status);
    QByteArray message; // as JSON, without its quotes
    if (envelope.message != nullptr && !request_.message.isEmpty()) {
        message = Json::serialize(request_.message).chopped(1).sliced(1);
        envelope.message = message.constData();
    }
    envelope.appendTo(frame);
}

void BDBReqHandler::setReply(QByteArray reply)
{
    reply_ = std::move(reply);
}

bool BDBReqHandler::isReadComplete() const
{
    return readComplete_;
}

int BDBReqHandler::socketDescriptor() const
{
    return socket_;
}

std::size_t BDBReqHandler::transferSize() const
{
    return std::max<std::size_t>(expectedBodyLength_, static_cast<std::size_t>(reply_.size()));
}

void BDBReqHandler::reset()
{
    reply_ = QByteArray();
    expectedBodyLength_ = 0;
    readComplete_ = false;
    request_.reset();
}
