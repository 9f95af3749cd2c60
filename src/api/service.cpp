#include "api/service.h"

#include "api/jsonpool.h"
#include "api/validation.h"

#include <string>
#include <utility>

namespace Api {

namespace {

Reply replyOf(const Error& error)
{
    return {error.status, QByteArray::fromStdString(error.body())};
}

/** Iterative, so that no depth of nesting exhausts the stack. */
Failure parse(const QByteArray& body, rapidjson::Document* request)
{
    constexpr unsigned Flags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    request->Parse<Flags>(body.constData(), static_cast<std::size_t>(body.size()));
    if (request->HasParseError())
        return Errors::serialization("The body is not JSON");
    return std::nullopt;
}

} // namespace

Service::Service(Server::Exchange exchange, Settings settings)
    : settings_(std::move(settings)), server_(std::move(exchange))
{}

Reply Service::answer(std::string_view name, std::string_view host, const QByteArray& body)
{
    const Operation* const operation = findOperation(name);
    if (operation == nullptr)
        return replyOf(refusalOf(name));
    JsonPool pool(JsonPoolBytes);
    rapidjson::Document request(&pool);
    if (const Failure failure = parse(body, &request))
        return replyOf(*failure);
    if (const Failure failure = Validation::checkTypes(request, *operation->input))
        return replyOf(*failure);
    if (const Failure failure = Validation::checkLimits(request, *operation->input))
        return replyOf(*failure);

    Context context{server_, tables_, counts_, settings_, host};
    rapidjson::StringBuffer text;
    JsonWriter writer(text);
    if (const Failure failure = operation->handler(request, context, &writer))
        return replyOf(*failure);
    return {200, QByteArray(text.GetString(), static_cast<qsizetype>(text.GetSize()))};
}

} // namespace Api
