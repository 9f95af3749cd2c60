#include "api/service.h"

#include "api/jsonpool.h"
#include "api/validation.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace Api {

namespace {

Reply replyOf(const Error& error)
{
    return {error.status, QByteArray::fromStdString(error.body())};
}

/**
 * True if a text, which is otherwise JSON, escapes the second half of a surrogate pair without the first. The library
 * refuses a lone first half, but turns a lone second half into bytes that are not UTF-8, which the server refuses.
 */
bool escapesSecondHalfAlone(std::string_view text)
{
    constexpr std::size_t EscapeLength = 6; // \uXXXX
    const auto isHalf = [](std::string_view escape, std::string_view thirdDigits) {
        return escape[1] == 'u' && (escape[2] | 0x20) == 'd' && thirdDigits.find(escape[3]) != std::string_view::npos;
    };
    while (true) {
        text.remove_prefix(std::min(text.find('\\'), text.size())); // occurs only in strings
        if (text.empty())
            return false;
        if (isHalf(text, "cdefCDEF"))
            return true;
        text.remove_prefix(isHalf(text, "89abAB") ? 2 * EscapeLength : 2);
    }
}

/** Iterative, so that no depth of nesting exhausts the stack. */
Failure parse(const QByteArray& body, rapidjson::Document* request)
{
    constexpr unsigned Flags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    const std::string_view text(body.constData(), static_cast<std::size_t>(body.size()));
    // The parser takes a zero byte for the end of the text. Inside a string, it is an error like any control character.
    if (text.find('\0') != std::string_view::npos)
        return Errors::serialization("The body is not JSON");
    request->Parse<Flags>(text.data(), text.size());
    if (request->HasParseError() || escapesSecondHalfAlone(text))
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

    Context context{server_, tables_, settings_, host};
    rapidjson::StringBuffer text;
    JsonWriter writer(text);
    if (const Failure failure = operation->handler(request, context, &writer))
        return replyOf(*failure);
    return {200, QByteArray(text.GetString(), static_cast<qsizetype>(text.GetSize()))};
}

} // namespace Api
