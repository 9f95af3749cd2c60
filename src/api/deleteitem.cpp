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

#include <utility>

namespace Api {

namespace {

/** Deletes the item if the condition holds, and tells which it was. */
Failure take(const ItemStore& store, const StoredKey& key, const WriteCondition& condition,
             std::optional<Items::Item>* old)
{
    return store.change(key, ItemStore::FirstGuess::Read, [&](const Items::Item* before, ItemChange* change) {
        if (Failure failure = condition.check(before))
            return failure;
        old->reset();
        if (before != nullptr) {
            *old = *before;
            change->action = ItemChange::Action::Delete;
        }
        return Failure();
    });
}

} // namespace

Failure deleteItem(const rapidjson::Value& request, Context& context, JsonWriter* reply)
{
    Expressions::Parameters parameters;
    if (Failure failure = readParameters(Expressions::RequestKind::Delete, request, &parameters))
        return failure;
    const WriteCondition condition(std::move(parameters), request);
    ReturnValues returned = ReturnValues::None;
    if (Failure failure = readOldOrNone(request, &returned))
        return failure;
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.find(textIn(request, "TableName"), &table))
        return failure;
    StoredKey key;
    if (Failure failure = ItemKeys::read(*table, *member(request, "Key"), &key))
        return failure;

    const ItemStore store(context, table);
    const bool isPlain = condition.isEmpty() && returned == ReturnValues::None;
    std::optional<Items::Item> old;
    if (Failure failure = isPlain ? store.remove(key) : take(store, key, condition, &old))
        return failure;
    reply->StartObject();
    if (old && returned == ReturnValues::AllOld) {
        putName("Attributes", reply);
        Items::writeItem(*old, reply);
    }
    Capacity::writeMember(request, *table, Capacity::ofWrite(old ? Items::sizeOfItem(*old) : 0), reply);
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
