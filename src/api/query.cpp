#include "api/itemoperations.h"
#include "api/itempage.h"
#include "api/itemstore.h"
#include "api/members.h"
#include "api/pageparameters.h"
#include "api/storedkeys.h"
#include "api/tablecatalog.h"
#include "items/keycodec.h"

#include <utility>

namespace Api {

namespace {

using Expressions::Condition;
using Expressions::KeyTest;

/** Only keys of the API of 2011-12-05 can begin with this (see Items::KeyCodec). */
constexpr const char* BehindAllKeys = "\xff";

Expressions::KeySchema::Attribute schemaOf(const KeyAttribute& attribute)
{
    return {attribute.name, ItemKeys::typeOf(attribute)};
}

Expressions::KeySchema schemaOf(const Table& table)
{
    Expressions::KeySchema schema{schemaOf(table.hash), std::nullopt};
    if (table.range)
        schema.range = schemaOf(*table.range);
    return schema;
}

/** Narrows the range by the condition on the range key. */
Failure narrow(const Table& table, const KeyTest& test, KeyRange* range)
{
    const auto bound = [&](std::size_t number, bool isInclusive, std::optional<KeyBound>* made) -> Failure {
        std::string bytes;
        if (Failure failure = ItemKeys::rangeBytes(table, test.values.at(number), &bytes))
            return failure;
        *made = KeyBound{std::move(bytes), isInclusive};
        return std::nullopt;
    };
    std::optional<KeyBound> low;
    std::optional<KeyBound> high;
    Failure failure;
    switch (test.kind) {
    case Condition::Kind::Less:
    case Condition::Kind::LessOrEqual:
        failure = bound(0, test.kind == Condition::Kind::LessOrEqual, &high);
        break;
    case Condition::Kind::Greater:
    case Condition::Kind::GreaterOrEqual:
        failure = bound(0, test.kind == Condition::Kind::GreaterOrEqual, &low);
        break;
    case Condition::Kind::Between:
        failure = bound(0, true, &low);
        if (!failure)
            failure = bound(1, true, &high);
        break;
    case Condition::Kind::BeginsWith: {
        Items::KeyCodec::Bounds bounds;
        failure = ItemKeys::rangeBounds(table, test.values.at(0), &bounds);
        low = KeyBound{std::move(bounds.low), true};
        high = KeyBound{std::move(bounds.high), true};
        break;
    }
    default: // Equal
        failure = bound(0, true, &low);
        high = low;
        break;
    }
    if (low)
        range->setLow(std::move(*low));
    if (high)
        range->setHigh(std::move(*high));
    return failure;
}

Failure rangeOf(const Table& table, const Expressions::KeyCondition& condition, KeyRange* range)
{
    std::string hash;
    if (Failure failure = ItemKeys::hashBytes(table, condition.hash, &hash))
        return failure;
    *range = KeyRange(std::move(hash));
    if (!table.isLatin1)
        range->setHigh({BehindAllKeys, false});
    return condition.range ? narrow(table, *condition.range, range) : std::nullopt;
}

/** Makes the range begin after the start key of the page, if there is one. */
Failure startAfter(const Table& table, const ItemPage& page, bool forward, KeyRange* range)
{
    std::optional<StoredKey> start;
    if (Failure failure = PageRequests::storedStartKey(table, page, &start))
        return failure;
    if (!start)
        return std::nullopt;
    if (start->hash != range->hash())
        return Errors::validation("The provided starting key is outside query boundaries based on provided conditions");
    if (!range->contains(start->range))
        return Errors::validation("The provided starting key does not match the range key predicate");
    *range = range->after(start->range, forward);
    return std::nullopt;
}

} // namespace

Failure query(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    Expressions::Parameters parameters;
    ItemPage page;
    if (Failure failure = PageRequests::read(Expressions::RequestKind::Query, request, &parameters, &page))
        return failure;
    std::shared_ptr<const Table> table;
    if (Failure failure = PageRequests::findTable(request, context, &table))
        return failure;

    const Expressions::KeySchema schema = schemaOf(*table);
    Expressions::KeyCondition condition;
    std::string error;
    if (!Expressions::bindKeyTests(std::move(parameters.keyTests), schema, &condition, &error))
        return Errors::validation(error);
    if (page.filter)
        error = Expressions::filterError(*page.filter, schema, parameters.isOlder ? "QueryFilter" : "FilterExpression");
    if (!error.empty())
        return Errors::validation(error);
    KeyRange range;
    if (Failure failure = rangeOf(*table, condition, &range))
        return failure;
    const bool forward = boolIn(request, "ScanIndexForward").value_or(true);
    if (Failure failure = startAfter(*table, page, forward, &range))
        return failure;

    const ItemStore store(context, table);
    ItemWalk walk(&store, std::move(range), forward, page.limit);
    return PageRequests::answer(request, *table, page, &walk, reply);
}

} // namespace Api
