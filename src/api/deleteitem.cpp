#include "api/itemoperations.h"
#include "api/itemstore.h"
#include "api/itemwrite.h"

namespace Api {

Failure deleteItem(const rapidjson::Value& request, Context& context, JsonWriter* reply)
{
    ItemWrite write;
    if (Failure failure = write.read(Expressions::RequestKind::Delete, request))
        return failure;
    std::shared_ptr<const Table> table;
    StoredKey key;
    if (Failure failure = findItem(request, context, &table, &key))
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
