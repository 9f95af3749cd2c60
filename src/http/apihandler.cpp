#include "http/apihandler.h"

#include "http/apiresponses.h"

#include <utility>

namespace Http {

Response ApiHandler::answer(const RequestHead& head, const QByteArray& body)
{
    const std::string_view target = head.header("X-Amz-Target");
    if (!target.starts_with(Api::Service::Prefix))
        return ApiResponses::of(
            gateway_->answer(QByteArray(target.data(), static_cast<qsizetype>(target.size())), body));
    if (body.size() > Api::Service::MostBytes)
        return ApiResponses::fault(head, Fault::BodyTooLarge);
    Api::Reply reply = service_->answer(target.substr(Api::Service::Prefix.size()), head.header("Host"), body);
    return ApiResponses::of({reply.status, {}, std::move(reply.body)});
}

} // namespace Http
