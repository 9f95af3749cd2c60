#include "http/crewhandler.h"

#include "http/apiresponses.h"
#include "http/contentcoding.h"

#include <new>
#include <utility>

namespace Http {

void CrewHandler::serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done)
{
    crew_->post([this, &head, body = std::move(body), done = std::move(done)]() mutable {
        Response response;
        try {
            response = answerPacked(head, body);
        } catch (const std::bad_alloc&) {
            body.clear();
            response = ApiResponses::fault(head, Fault::NoMemory);
        }
        done(std::move(response));
    });
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
