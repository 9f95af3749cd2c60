#include "api/pageparameters.h"

#include "api/capacity.h"
#include "api/itemio.h"
#include "api/members.h"
#include "api/storedkeys.h"
#include "api/tablecatalog.h"

#include <string>
#include <string_view>
#include <utility>

namespace Api {

namespace {

Failure invalid(const std::string& text)
{
    return Errors::validation("One or more parameter values were invalid: " + text);
}

/** The failure of a check of the start key. */
Failure ofStartKey(Failure failure)
{
    if (failure && failure->type == Errors::validation({}).type)
        failure->message.insert(0, "The provided starting key is invalid: ");
    return failure;
}

Failure readStartKey(const Items::JsonValue& request, ItemPage* page)
{
    const Items::JsonValue* const json = member(request, "ExclusiveStartKey");
    return json != nullptr ? ofStartKey(readItem(*json, &page->startKey.emplace())) : std::nullopt;
}

Failure readSelect(const Items::JsonValue& request, ItemPage* page)
{
    const std::string_view select = textIn(request, "Select");
    const bool isOlder = hasMember(request, "AttributesToGet");
    page->isCountOnly = select == "COUNT";
    if (select == "ALL_PROJECTED_ATTRIBUTES" && !hasMember(request, "IndexName"))
        return invalid("ALL_PROJECTED_ATTRIBUTES can be used only when Querying using an IndexName");
    if (select == "SPECIFIC_ATTRIBUTES" && !page->projection)
        return invalid("Must specify the AttributesToGet or ProjectionExpression when choosing to get "
                       "SPECIFIC_ATTRIBUTES");
    if (page->projection && !select.empty() && select != "SPECIFIC_ATTRIBUTES") {
        const std::string parameter = isOlder ? "AttributesToGet" : "ProjectionExpression";
        const std::string selected = page->isCountOnly ? "only the Count" : std::string(select);
        return invalid("Cannot specify the " + parameter + " when choosing to get " + selected);
    }
    return std::nullopt;
}

} // namespace

Failure PageRequests::read(Expressions::RequestKind kind, const Items::JsonValue& request,
                           Expressions::Parameters* parameters, ItemPage* page)
{
    if (Failure failure = readParameters(kind, request, parameters))
        return failure;
    page->filter = std::move(parameters->filter);
    page->projection = std::move(parameters->projection);
    if (const auto limit = numberIn(request, "Limit"))
        page->limit = static_cast<std::size_t>(*limit); // at least 1, by its shape
    if (Failure failure = readStartKey(request, page))
        return failure;
    return readSelect(request, page);
}

Failure PageRequests::findTable(const Items::JsonValue& request, Context& context, std::shared_ptr<const Table>* table)
{
    if (Failure failure = context.tables.find(textIn(request, "TableName"), table))
        return failure;
    if (hasMember(request, "IndexName"))
        return Errors::validation("The table does not have the specified index: " +
                                  std::string(textIn(request, "IndexName")));
    return std::nullopt;
}

Failure PageRequests::storedStartKey(const Table& table, const ItemPage& page, std::optional<StoredKey>* start)
{
    return page.startKey ? ofStartKey(ItemKeys::ofKey(table, *page.startKey, &start->emplace())) : std::nullopt;
}

Failure PageRequests::answer(const Items::JsonValue& request, const Table& table, const ItemPage& page, ItemWalk* walk,
                             JsonWriter* reply)
{
    PageFigures figures;
    reply->StartObject();
    if (Failure failure = writePage(walk, table, page, &figures, reply))
        return failure;
    const bool isConsistent = boolIn(request, "ConsistentRead").value_or(false);
    Capacity::writeMember(request, table, Capacity::ofRead(figures.bytes, isConsistent), reply);
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
