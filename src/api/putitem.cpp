#include "api/itemjson.h"
#include "api/itemkeys.h"
#include "api/itemoperations.h"
#include "api/itemstore.h"
#include "api/itemwrite.h"
#include "api/members.h"
#include "api/tablecatalog.h"
#include "items/itemsize.h"

#include <algorithm>
#include <utility>

namespace Api {

Failure putItem(const rapidjson::Value& request, Context& context, JsonWriter* reply)
{
    ItemWrite write;
    if (Failure failure = write.read(Expressions::RequestKind::Put, request))
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
    Failure failure = write.isPlain() ? store.put(key, item)
                                      : write.carryOut(store, key, ItemStore::FirstGuess::NoItem,
                                                       {ItemChange::Action::Put, std::move(item)});
    if (failure)
        return failure;
    write.writeReply(request, *table, std::max(bytes, write.oldBytes()), reply);
    return std::nullopt;
}

} // namespace Api
