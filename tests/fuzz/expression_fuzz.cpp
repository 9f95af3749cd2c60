/*
 * Expressions and whole requests from outside are refused with a message, or become trees that can be evaluated for any
 * item. What an update makes of an item is an item again.
 *
 * The first byte of an input says which parameter the rest is, or that it is a request with all of them.
 */
#include "budget.h"
#include "choices.h"
#include "fuzztarget.h"

#include "expressions/parameters.h"
#include "items/itemjson.h"

#include <array>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

namespace {

using Expressions::Parameters;
using Expressions::RequestKind;

Items::JsonDocument parsed(const std::string& json)
{
    Items::JsonDocument document;
    document.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(json.data(), json.size());
    return document;
}

Items::Item itemOf(const std::string& json)
{
    Items::Item item;
    Items::JsonError error;
    FUZZ_ASSERT(Items::readItem(parsed(json), &item, &error));
    return item;
}

const Items::Item& sample()
{
    static const Items::Item item = itemOf(R"({"a": {"S": "ab"}, "b": {"N": "1.5"}, "c": {"SS": ["a", "b"]},
        "d": {"NS": ["1", "2"]}, "l": {"L": [{"N": "1"}, {"M": {"a": {"S": "a"}}}, {"L": [{"B": "AAE="}]}]},
        "m": {"M": {"a": {"N": "1"}, "l": {"L": []}}}, "z": {"NULL": true}, "t": {"BOOL": true}, "y": {"B": "AA=="}})");
    return item;
}

void checkUpdate(const Expressions::Update& update)
{
    Items::Item after;
    std::string error;
    if (!apply(update, sample(), &after, &error)) {
        FUZZ_ASSERT(!error.empty());
        return;
    }
    FUZZ_ASSERT(itemOf(Items::jsonOf(after)) == after);
    (void)placesOf(update).partsOf(after); // ignored: only its end is of interest
}

/** The parameters of a request, if it is right. */
std::optional<Parameters> read(RequestKind kind, const Items::JsonValue& request)
{
    Parameters parameters;
    Items::JsonError error;
    if (readParameters(kind, request, &parameters, &error))
        return parameters;
    FUZZ_ASSERT(!error.message.empty());
    return std::nullopt;
}

void check(RequestKind kind, const Items::JsonValue& request)
{
    const auto parameters = read(kind, request);
    if (!parameters)
        return;
    for (const auto& condition : {parameters->condition, parameters->filter}) {
        if (condition)
            (void)(holds(*condition, &sample()) ||
                   holds(*condition, nullptr)); // ignored: only their end is of interest
    }
    if (parameters->projection)
        FUZZ_ASSERT(parameters->projection->partsOf(sample()).size() <= sample().size());
    if (parameters->update)
        checkUpdate(*parameters->update);
}

struct Parameter {
    RequestKind kind;
    const char* member;
};
constexpr std::array Members = {
    Parameter{RequestKind::Put, "ConditionExpression"}, Parameter{RequestKind::Scan, "FilterExpression"},
    Parameter{RequestKind::Update, "UpdateExpression"}, Parameter{RequestKind::Get, "ProjectionExpression"},
    Parameter{RequestKind::Query, "KeyConditionExpression"}};

/** A request with one expression, whose names and values are all those that the expression uses. */
Items::JsonDocument requestWith(const char* member, const std::string& expression)
{
    Items::JsonDocument request;
    request.SetObject();
    auto& allocator = request.GetAllocator();
    request.AddMember(
        rapidjson::StringRef(member),
        Items::JsonValue(expression.data(), static_cast<rapidjson::SizeType>(expression.size()), allocator), allocator);
    const auto define = [&](const char* definitions, std::initializer_list<std::pair<const char*, const char*>> all) {
        Items::JsonValue used(rapidjson::kObjectType);
        for (const auto& [placeholder, json] : all) {
            if (expression.find(placeholder) != std::string::npos)
                used.AddMember(rapidjson::StringRef(placeholder), Items::JsonValue(parsed(json), allocator), allocator);
        }
        if (!used.ObjectEmpty())
            request.AddMember(rapidjson::StringRef(definitions), used, allocator);
    };
    define("ExpressionAttributeNames", {{"#a", R"("a")"}, {"#n", R"("a.b")"}});
    define("ExpressionAttributeValues", {{":n", R"({"N": "1"})"},
                                         {":s", R"({"S": "a"})"},
                                         {":b", R"({"B": "AA=="})"},
                                         {":l", R"({"L": [{"N": "1"}]})"},
                                         {":m", R"({"M": {"a": {"S": "a"}}})"},
                                         {":c", R"({"SS": ["a"]})"},
                                         {":d", R"({"NS": ["1"]})"},
                                         {":t", R"({"S": "N"})"}});
    return request;
}

/** A condition that holds does not hold negated. Parentheses around others, and one more operator, may be too many. */
void checkNegation(const std::string& expression)
{
    static constexpr const char* Member = "ConditionExpression";
    const auto parameters = read(RequestKind::Put, requestWith(Member, expression));
    const auto negated = read(RequestKind::Put, requestWith(Member, "NOT (" + expression + ")"));
    FUZZ_ASSERT(parameters || !negated);
    if (negated)
        FUZZ_ASSERT(holds(*parameters->condition, &sample()) != holds(*negated->condition, &sample()));
}

void checkInput(const std::uint8_t* data, std::size_t size)
{
    Choices choices(data, size);
    const unsigned which = choices.upTo(Members.size() + 1);
    const std::string rest(choices.rest());
    if (which < Members.size()) {
        const auto& [kind, member] = Members[which];
        const Items::JsonDocument request = requestWith(member, rest);
        check(kind, request);
        if (kind == RequestKind::Put)
            checkNegation(rest);
        return;
    }
    const Items::JsonDocument request = parsed(rest);
    if (request.HasParseError())
        return;
    for (const auto kind : {RequestKind::Get, RequestKind::Put, RequestKind::Delete, RequestKind::Update,
                            RequestKind::Query, RequestKind::Scan})
        check(kind, request);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    withinBudget(size, [&] { checkInput(data, size); });
    return 0;
}
