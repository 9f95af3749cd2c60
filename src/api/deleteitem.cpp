#include "api/itemkeys.h"
#include "api/itemoperations.h"
#include "api/itemstore.h"
#include "api/itemwrite.h"
#include "api/members.h"
#include "api/tablecatalog.h"

namespace Api {

Failure deleteItem(const rapidjson::Value& request, Context& context, JsonWriter* reply)
{
    ItemWrite write;
    if (Failure failure = write.read(Expressions::RequestKind::Delete, request))
        return failure;
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.find(textIn(request, "TableName"), &table))
        return failure;
    StoredKey key;
    if (Failure failure = ItemKeys::read(*table, *member(request, "Key"), &key))
        return failure;

    const ItemStore store(context, table);
    Failure failure = write.isPlain()
                          ? store.remove(key)
                          : write.carryOut(store, key, ItemStore::FirstGuess::Read, {ItemChange::Action::Delete, {}});
    if (failure)
        return failure;
    write.writeReply(request, *table, write.oldBytes(), reply);
    return std::nullopt;
}

} // namespace Api
