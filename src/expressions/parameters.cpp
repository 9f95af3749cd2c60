#include "expressions/parameters.h"

#include "expressions/olderconditions.h"
#include "expressions/olderupdates.h"
#include "expressions/parsing.h"
#include "expressions/requestjson.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace Expressions {

namespace {

using Items::JsonError;
using namespace RequestJson;

/** The members of a kind of request, in the order in which they are read and named. */
struct Members {
    std::array<std::string_view, 3> expressions;
    std::array<std::string_view, 4> older;
    std::string_view
        withValues; // those of `expressions` that can have values, as the API names them when all are missing
};

const Members& membersOf(RequestKind kind)
{
    static constexpr Members Get = {{"ProjectionExpression"}, {"AttributesToGet"}, ""};
    static constexpr Members PutOrDelete = {
        {"ConditionExpression"}, {"Expected", "ConditionalOperator"}, "ConditionExpression is null"};
    static constexpr Members Update = {{"UpdateExpression", "ConditionExpression"},
                                       {"AttributeUpdates", "Expected", "ConditionalOperator"},
                                       "UpdateExpression and ConditionExpression are null"};
    static constexpr Members Query = {{"ProjectionExpression", "FilterExpression", "KeyConditionExpression"},
                                      {"AttributesToGet", "QueryFilter", "ConditionalOperator", "KeyConditions"},
                                      "FilterExpression and KeyConditionExpression are null"};
    static constexpr Members Scan = {{"ProjectionExpression", "FilterExpression"},
                                     {"AttributesToGet", "ScanFilter", "ConditionalOperator"},
                                     "FilterExpression is null"};
    switch (kind) {
    case RequestKind::Get:
        return Get;
    case RequestKind::Put:
    case RequestKind::Delete:
        return PutOrDelete;
    case RequestKind::Update:
        return Update;
    case RequestKind::Query:
        return Query;
    case RequestKind::Scan:
        break;
    }
    return Scan;
}

/** Of all names and values in a request. */
constexpr std::size_t MostPlaceholderBytes = 2097152;

class Reader {
public:
    Reader(RequestKind kind, const Items::JsonValue& request, Parameters* parameters, JsonError* error)
        : kind_(kind), request_(request), parameters_(parameters), error_(error)
    {}

    bool read();

private:
    bool checkMixture();
    bool checkPlaceholders();
    bool readExpression(std::string_view member, const Items::JsonValue& json);
    bool parse(std::string_view member, std::string_view text, std::string* error);
    bool readOlder(std::string_view member, const Items::JsonValue& json);
    bool readConditionalOperator();
    void combine();

    template <typename Names> std::string present(const Names& names) const;

    const RequestKind kind_;
    const Items::JsonValue& request_;
    Parameters* const parameters_;
    JsonError* const error_;
    Placeholders placeholders_;
    std::vector<Condition> olderConditions_; // of Expected or a filter
    bool isFilter_ = false;
    bool isAny_ = false; // ConditionalOperator OR
};

/** Those of the members that the request has: "a, b". */
template <typename Names> std::string Reader::present(const Names& names) const
{
    std::string result;
    for (const std::string_view name : names) {
        if (!name.empty() && member(request_, name) != nullptr)
            result += (result.empty() ? "" : ", ") + std::string(name);
    }
    return result;
}

bool Reader::checkMixture()
{
    const std::string expressions = present(membersOf(kind_).expressions);
    const std::string older = present(membersOf(kind_).older);
    if (!expressions.empty() && !older.empty())
        return fail(error_, "Can not use both expression and non-expression parameters in the same request: "
                            "Non-expression parameters: {" +
                                older + "} Expression parameters: {" + expressions + "}");
    parameters_->isOlder = expressions.empty();
    return true;
}

bool Reader::checkPlaceholders()
{
    const Members& members = membersOf(kind_);
    const Items::JsonValue* names = member(request_, "ExpressionAttributeNames");
    const Items::JsonValue* values =
        members.withValues.empty() ? nullptr : member(request_, "ExpressionAttributeValues");
    const bool hasExpression = !parameters_->isOlder;
    const bool canUseValues = hasExpression && present(members.expressions) != "ProjectionExpression";
    if (names != nullptr && !hasExpression)
        return fail(error_, "ExpressionAttributeNames can only be specified when using expressions");
    if (values != nullptr && !canUseValues)
        return fail(error_, "ExpressionAttributeValues can only be specified when using expressions: " +
                                std::string(members.withValues));
    if (!placeholders_.readNames(names, error_) || !placeholders_.readValues(values, error_))
        return false;
    return placeholders_.size() <= MostPlaceholderBytes ||
           fail(error_,
                "ExpressionAttributeNames and ExpressionAttributeValues have exceeded the maximum allowed size of "
                "2097152 bytes");
}

bool Reader::parse(std::string_view member, std::string_view text, std::string* error)
{
    if (member == "UpdateExpression")
        return parseUpdate(text, &placeholders_, &parameters_->update.emplace(), error);
    if (member == "ProjectionExpression")
        return parseProjection(text, &placeholders_, &parameters_->projection.emplace(), error);
    if (member == "KeyConditionExpression") {
        Condition condition;
        return parseCondition(text, member, &placeholders_, &condition, error) &&
               keyTestsOf(condition, &parameters_->keyTests, error);
    }
    auto& condition = member == "FilterExpression" ? parameters_->filter : parameters_->condition;
    return parseCondition(text, member, &placeholders_, &condition.emplace(), error);
}

bool Reader::readExpression(std::string_view member, const Items::JsonValue& json)
{
    if (!json.IsString())
        return failForShape(error_, member);
    std::string message;
    return parse(member, textOf(json), &message) || fail(error_, std::move(message));
}

bool Reader::readOlder(std::string_view member, const Items::JsonValue& json)
{
    if (member == "AttributesToGet")
        return readAttributesToGet(json, &parameters_->projection.emplace(), error_);
    if (member == "AttributeUpdates")
        return readAttributeUpdates(json, &parameters_->update.emplace(), error_);
    if (member == "KeyConditions")
        return readKeyConditions(json, &parameters_->keyTests, error_);
    if (member == "Expected")
        return readExpected(json, &olderConditions_, error_);
    if (member == "ConditionalOperator")
        return json.IsString() || failForShape(error_, member);
    isFilter_ = true;
    return readFilter(json, &olderConditions_, error_);
}

/** What belongs together is known when all has been read. */
bool Reader::readConditionalOperator()
{
    const Items::JsonValue* json = member(request_, "ConditionalOperator");
    if (json == nullptr || kind_ == RequestKind::Get)
        return true;
    if (present(std::array<std::string_view, 3>{"Expected", "QueryFilter", "ScanFilter"}).empty())
        return failForParameter(error_, "ConditionalOperator cannot be used without Filter or Expected");
    if (olderConditions_.size() < 2)
        return failForParameter(
            error_, "ConditionalOperator can only be used when Filter or Expected has two or more elements");
    isAny_ = textOf(*json) == "OR";
    return true;
}

void Reader::combine()
{
    if (olderConditions_.empty())
        return;
    Condition all;
    all.kind = isAny_ ? Condition::Kind::Or : Condition::Kind::And;
    all.conditions = std::move(olderConditions_);
    auto& place = isFilter_ ? parameters_->filter : parameters_->condition;
    place = all.conditions.size() == 1 ? Condition(std::move(all.conditions.front())) : std::move(all);
}

bool Reader::read()
{
    if (!checkMixture() || !checkPlaceholders())
        return false;
    for (const std::string_view name : membersOf(kind_).expressions) {
        const Items::JsonValue* json = name.empty() ? nullptr : member(request_, name);
        if (json != nullptr && !readExpression(name, *json))
            return false;
    }
    for (const std::string_view name : membersOf(kind_).older) {
        const Items::JsonValue* json = name.empty() ? nullptr : member(request_, name);
        if (json != nullptr && !readOlder(name, *json))
            return false;
    }
    if (!readConditionalOperator())
        return false;
    combine();
    const std::string unused = placeholders_.unusedError();
    if (!unused.empty())
        return fail(error_, unused);
    if (kind_ == RequestKind::Query &&
        present(std::array<std::string_view, 2>{"KeyConditions", "KeyConditionExpression"}).empty())
        return fail(error_, "Either the KeyConditions or KeyConditionExpression parameter must be specified in the "
                            "request.");
    return true;
}

} // namespace

bool readParameters(RequestKind kind, const Items::JsonValue& request, Parameters* parameters, JsonError* error)
{
    if (!request.IsObject())
        return failForShape(error, "The request");
    return Reader(kind, request, parameters, error).read();
}

} // namespace Expressions
