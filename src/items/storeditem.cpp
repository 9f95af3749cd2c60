#include "items/storeditem.h"

#include "items/itemjson.h"

namespace Items {

std::optional<std::string> StoredItem::textOf(const Item& item)
{
    std::string json = jsonOf(item);
    if (json.size() > MostBytes)
        return {};
    return json;
}

bool StoredItem::read(const rapidjson::Value& stored, Item* item, std::string* why)
{
    JsonError error;
    if (readItem(stored, item, &error))
        return true;
    *why = std::move(error.message);
    return false;
}

} // namespace Items
