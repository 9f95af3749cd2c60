#include "api/capacity.h"
#include "api/itemjson.h"
#include "api/itemkeys.h"
#include "api/itemoperations.h"
#include "api/itemstore.h"
#include "api/members.h"
#include "api/returnvalues.h"
#include "api/tablecatalog.h"
#include "api/writecondition.h"
#include "items/itemjson.h"
#include "items/itemsize.h"

#include <algorithm>
#include <utility>

namespace Api {

namespace {

/** Stores the item if the condition holds, and tells which item was there before. */
Failure replace(const ItemStore& store, const StoredKey& key, const Items::Item& item, const WriteCondition& condition,
                std::optional<Items::Item>* old)
{
    return store.change(key, ItemStore::FirstGuess::NoItem, [&](const Items::Item* before, ItemChange* change) {
        if (Failure failure = condition.check(before))
            return failure;
        old->reset();
        if (before != nullptr)
            *old = *before;
        *change = {ItemChange::Action::Put, item};
        return Failure();
    });
}

} // namespace

Failure putItem(const rapidjson::Value& request, Context& context, JsonWriter* reply)
{
    Expressions::Parameters parameters;
    if (Failure failure = readParameters(Expressions::RequestKind::Put, request, &parameters))
        return failure;
    const WriteCondition condition(std::move(parameters), request);
    ReturnValues returned = ReturnValues::None;
    if (Failure failure = readOldOrNone(request, &returned))
        return failure;
    Items::Item item;
    if (Failure failure = readItem(*member(request, "Item"), &item))
        return failure;
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.find(textIn(request, "TableName"), &table))
        return failure;
    StoredKey key;
    if (Failure failure = ItemKeys::ofItem(*table, item, &key))
        return failure;
    const std::size_t bytes = Items::sizeOfItem(item);
    if (bytes > Items::MostItemBytes)
        return Errors::validation("Item size has exceeded the maximum allowed size");

    const ItemStore store(context, table);
    const bool isPlain = condition.isEmpty() && returned == ReturnValues::None;
    std::optional<Items::Item> old;
    if (Failure failure = isPlain ? store.put(key, item) : replace(store, key, item, condition, &old))
        return failure;
    reply->StartObject();
    if (old && returned == ReturnValues::AllOld) {
        putName("Attributes", reply);
        Items::writeItem(*old, reply);
    }
    const std::size_t written = std::max(bytes, old ? Items::sizeOfItem(*old) : 0);
    Capacity::writeMember(request, *table, Capacity::ofWrite(written), reply);
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
