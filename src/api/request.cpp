#include "api/request.h"

#include "api/members.h"
#include "api/tablecatalog.h"
#include "api/validation.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Api {

namespace {

/** The room for an item's keys, which the server's replies lack. */
constexpr std::size_t UsualKeysBytes = 256;

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
Failure parse(const QByteArray& body, Items::JsonDocument* request)
{
    // Checked here rather than by the parser, which takes several times as long for it as for everything else.
    if (!body.isValidUtf8())
        return Errors::serialization("The body is not JSON");
    const std::string_view text(body.constData(), static_cast<std::size_t>(body.size()));
    // The parser takes a zero byte for the end of the text. Inside a string, it is an error like any control character.
    if (text.find('\0') != std::string_view::npos)
        return Errors::serialization("The body is not JSON");
    request->Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
    if (request->HasParseError() || escapesSecondHalfAlone(text))
        return Errors::serialization("The body is not JSON");
    return std::nullopt;
}

Reply replyOf(const Failure& failure, const Items::JsonText& text)
{
    return failure ? Reply::of(*failure)
                   : Reply{200, QByteArray(text.GetString(), static_cast<qsizetype>(text.GetSize()))};
}

} // namespace

Reply Reply::of(const Error& error)
{
    return {error.status, QByteArray::fromStdString(error.body())};
}

Failure Request::read(const QByteArray& body)
{
    if (Failure failure = parse(body, &request_))
        return failure;
    if (Failure failure = Validation::checkTypes(request_, *operation_.input))
        return failure;
    return Validation::checkLimits(request_, *operation_.input);
}

Reply Request::answer()
{
    Items::JsonText text;
    JsonWriter writer(text);
    return replyOf(operation_.handler != nullptr ? operation_.handler(request_, context_, &writer) : takeSteps(&writer),
                   text);
}

Failure Request::takeSteps(JsonWriter* writer)
{
    steps_ = operation_.steps();
    if (Failure failure = steps_->read(request_))
        return failure;
    std::shared_ptr<const Table> table;
    if (Failure failure = context_.tables.find(textIn(request_, "TableName"), &table))
        return failure;
    if (Failure failure = steps_->prepare(request_, table))
        return failure;
    const ItemStore store(context_, table);
    ServerReply reply;
    Failure failure = steps_->call() ? store.send(call().operation, call().body, &reply) : steps_->carryOut(store);
    return failure ? failure : steps_->finish(request_, store, reply, writer);
}

Request::Step Request::begin(const QByteArray& body)
{
    steps_ = operation_.steps();
    refusal_ = read(body);
    if (!refusal_)
        refusal_ = steps_->read(request_);
    if (refusal_)
        return Step::Reply;
    std::shared_ptr<const Table> table = context_.tables.findCached(textIn(request_, "TableName"));
    if (table == nullptr)
        return Step::Wait;
    refusal_ = steps_->prepare(request_, std::move(table));
    if (refusal_)
        return Step::Reply;
    return steps_->call() ? Step::Exchange : Step::Wait;
}

Reply Request::finish(Client::ExchangeResult result, QByteArray&& text, const QString& error)
{
    if (result == Client::ExchangeResult::Done) {
        std::string plain;
        plain.reserve(static_cast<std::size_t>(text.size()) + UsualKeysBytes);
        if (steps_->finishPlain(request_, {text.constData(), static_cast<std::size_t>(text.size())}, &plain))
            return {200, QByteArray(plain.data(), static_cast<qsizetype>(plain.size()))};
    }
    ServerReply reply;
    Items::JsonText written;
    JsonWriter writer(written);
    const ItemStore store(context_, steps_->table());
    Failure failure = Server::take(result, std::move(text), error, &reply);
    if (!failure)
        failure = store.settle(call().operation, call().body, &reply);
    if (!failure)
        failure = steps_->finish(request_, store, reply, &writer);
    return replyOf(failure, written);
}

} // namespace Api
