#include "api/capacity.h"
#include "api/itemjson.h"
#include "api/itemoperations.h"
#include "api/itemstore.h"
#include "api/members.h"
#include "items/itemjson.h"
#include "items/itemsize.h"

namespace Api {

Failure getItem(const rapidjson::Value& request, Context& context, JsonWriter* reply)
{
    Expressions::Parameters parameters;
    if (Failure failure = readParameters(Expressions::RequestKind::Get, request, &parameters))
        return failure;
    std::shared_ptr<const Table> table;
    StoredKey key;
    if (Failure failure = findItem(request, context, &table, &key))
        return failure;

    std::optional<Items::Item> item;
    if (Failure failure = ItemStore(context, table).get(key, &item))
        return failure;
    reply->StartObject();
    if (item) {
        putName("Item", reply);
        Items::writeItem(parameters.projection ? parameters.projection->partsOf(*item) : *item, reply);
    }
    if (Capacity::isWanted(request)) {
        const std::size_t bytes = item ? Items::sizeOfItem(*item) : 0;
        const bool isConsistent = boolIn(request, "ConsistentRead").value_or(false);
        Capacity::writeMember(request, *table, Capacity::ofRead(bytes, isConsistent), reply);
    }
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
