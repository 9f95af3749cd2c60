#include "api/service.h"

#include <utility>

namespace Api {

Service::Service(Server::Exchange exchange, Settings settings)
    : settings_(std::move(settings)), server_(std::move(exchange))
{}

Reply Service::answer(std::string_view name, std::string_view host, const QByteArray& body)
{
    const Operation* const operation = findOperation(name);
    if (operation == nullptr)
        return Reply::of(refusalOf(name));
    Request request(*operation, {server_, tables_, settings_, host});
    if (const Failure failure = request.read(body))
        return Reply::of(*failure);
    return request.answer();
}

std::unique_ptr<Request> Service::prepare(std::string_view name, std::string_view host)
{
    const Operation* const operation = findOperation(name);
    if (operation == nullptr || operation->steps == nullptr)
        return nullptr;
    return std::make_unique<Request>(*operation, Context{server_, tables_, settings_, host});
}

} // namespace Api
