#include "http/crewhandler.h"

#include "http/apiresponses.h"
#include "http/contentcoding.h"

#include <new>
#include <utility>

namespace Http {

void CrewHandler::serve(const RequestHead& head, QByteArray&& body, Done done)
{
    post(
        head, [this, &head, body = std::move(body)] { return answerPacked(head, body); }, std::move(done));
}

void CrewHandler::post(const RequestHead& head, std::function<Response()>&& respond, Done&& done)
{
    crew_->post([&head, respond = std::move(respond), done = std::move(done)]() mutable {
        done(guarded(head, std::move(respond)));
    });
}

Response CrewHandler::guarded(const RequestHead& head, std::function<Response()>&& respond)
{
    try {
        return respond();
    } catch (const std::bad_alloc&) {
        respond = nullptr; // and with it the body
        return ApiResponses::fault(head, Fault::NoMemory);
    }
}

Response CrewHandler::answerPacked(const RequestHead& head, const QByteArray& packed)
{
    QByteArray body;
    switch (ContentCoding::unpack(head.header("Content-Encoding"), packed, bodyBytes_, &body)) {
    case ContentCoding::Result::Unpacked:
        break;
    case ContentCoding::Result::TooLarge:
        return ApiResponses::fault(head, Fault::BodyTooLarge);
    case ContentCoding::Result::Broken:
        return ApiResponses::fault(head, Fault::BodyBroken);
    }
    return answer(head, body);
}

} // namespace Http
