#include "api/itemrequests.h"

#include "items/itemjson.h"
#include "items/keycodec.h"
#include "items/storeditem.h"

#include <initializer_list>

namespace Api {

namespace {

namespace StoredItem = Items::StoredItem;

/** A body: one object. */
template <typename Members> std::string bodyOf(Members&& members)
{
    Items::JsonText text;
    JsonWriter writer(text);
    writer.StartObject();
    members(&writer);
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

void putRaw(std::string_view json, JsonWriter* writer)
{
    writer->RawValue(json.data(), json.size(), rapidjson::kObjectType);
}

void putKeyText(const std::string& key, JsonWriter* writer)
{
    writer->StartObject();
    put("S", Items::KeyCodec::jsonText(key), writer);
    writer->EndObject();
}

void putKey(std::string_view name, const StoredKey& key, JsonWriter* writer)
{
    putName(name, writer);
    writer->StartObject();
    putName("HashKeyElement", writer);
    putKeyText(key.hash, writer);
    putName("RangeKeyElement", writer);
    putKeyText(key.range, writer);
    writer->EndObject();
}

void putReturned(ItemRequests::Returned returned, JsonWriter* writer)
{
    if (returned == ItemRequests::Returned::OldItem)
        put("ReturnValues", std::string_view("ALL_OLD"), writer);
}

bool isKeyName(const Table& table, const std::string& name)
{
    return name == table.hash.name || name == table.serverRangeName;
}

/** Writes the attributes in the order of their names, so that the server need not build a tree of them. */
void putPlain(const Table& table, const StoredKey& key, const Items::Item& item, JsonWriter* writer)
{
    writer->StartObject();
    if (!table.range) { // its name is empty, so it comes first
        putName(table.serverRangeName, writer);
        putKeyText(key.range, writer);
    }
    for (const auto& [name, value] : item) {
        putName(name, writer);
        if (name == table.hash.name)
            putKeyText(key.hash, writer);
        else if (name == table.serverRangeName)
            putKeyText(key.range, writer);
        else
            Items::writeValue(value, writer);
    }
    writer->EndObject();
}

/** The same, for an item that is too long to be stored unpacked. */
bool putPacked(const Table& table, const StoredKey& key, const Items::Item& item, JsonWriter* writer)
{
    const auto stored = ItemRequests::storedText(table, item);
    if (!stored)
        return false;
    const std::string all = bodyOf([&](JsonWriter* keys) {
        putName(table.hash.name, keys);
        putKeyText(key.hash, keys);
        putName(table.serverRangeName, keys);
        putKeyText(key.range, keys);
    });
    // Both are objects, and the stored one has members.
    putRaw(all.substr(0, all.size() - 1) + ',' + stored->substr(1), writer);
    return true;
}

bool putItem(const Table& table, const StoredKey& key, const Items::Item& item, JsonWriter* writer)
{
    Items::JsonText text;
    JsonWriter plain(text);
    putPlain(table, key, item, &plain);
    if (text.GetSize() > StoredItem::MostBytes)
        return putPacked(table, key, item, writer);
    putRaw({text.GetString(), text.GetSize()}, writer);
    return true;
}

} // namespace

std::string ItemRequests::byKey(const Table& table, const StoredKey& key, Returned returned)
{
    // Most requests send this, so it is composed without a writer.
    constexpr std::size_t Most = 128; // of what is neither a key nor the name
    std::string body;
    body.reserve(Most + key.hash.size() + key.range.size() + table.name.real.size());
    body += R"({"Key":{"HashKeyElement":{"S":)";
    Items::appendString(Items::KeyCodec::jsonText(key.hash), &body);
    body += R"(},"RangeKeyElement":{"S":)";
    Items::appendString(Items::KeyCodec::jsonText(key.range), &body);
    body += "}},";
    if (returned == Returned::OldItem)
        body += R"("ReturnValues":"ALL_OLD",)";
    body += R"("TableName":)";
    Items::appendString(table.name.real, &body);
    body += '}';
    return body;
}

std::optional<std::string> ItemRequests::storedText(const Table& table, const Items::Item& item)
{
    Items::Item others;
    for (const auto& attribute : item) {
        if (!isKeyName(table, attribute.first))
            others.insert(others.end(), attribute);
    }
    return StoredItem::textOf(others);
}

std::optional<std::string> ItemRequests::put(const Table& table, const StoredKey& key, const Items::Item& item,
                                             Returned returned)
{
    bool isStorable = false;
    std::string body = bodyOf([&](JsonWriter* writer) {
        putName("Item", writer);
        isStorable = putItem(table, key, item, writer);
        putReturned(returned, writer);
        Api::put("TableName", table.name.real, writer);
    });
    return isStorable ? std::optional(std::move(body)) : std::nullopt;
}

std::string ItemRequests::commit(const std::vector<Entry>& entries)
{
    return bodyOf([&](JsonWriter* body) {
        putName("Entries", body);
        body->StartArray();
        for (const Entry& entry : entries) {
            body->StartObject();
            if (!entry.put)
                Api::put("Delete", true, body);
            putName("Expected", body);
            body->StartObject();
            if (entry.expected) {
                putName("Item", body);
                putRaw(*entry.expected, body);
            } else {
                Api::put("Exists", false, body);
            }
            body->EndObject();
            putKey("Key", *entry.key, body);
            if (entry.put) {
                putName("Put", body);
                putRaw(*entry.put, body);
            }
            Api::put("TableName", entry.table->name.real, body);
            body->EndObject();
        }
        body->EndArray();
    });
}

std::string ItemRequests::query(const Table& table, const KeyRange& range, bool forward, int limit)
{
    return bodyOf([&](JsonWriter* body) {
        putName("HashKeyValue", body);
        putKeyText(range.hash(), body);
        Api::put("Limit", static_cast<long long>(limit), body);
        if (const auto condition = range.condition(forward)) {
            putName("RangeKeyCondition", body);
            body->StartObject();
            putName("AttributeValueList", body);
            body->StartArray();
            for (const std::string& key : condition->keys)
                putKeyText(key, body);
            body->EndArray();
            Api::put("ComparisonOperator", std::string_view(condition->comparison), body);
            body->EndObject();
        }
        Api::put("TableName", table.name.real, body);
    });
}

std::string ItemRequests::scan(const Table& table, const std::optional<StoredKey>& after, int limit)
{
    return bodyOf([&](JsonWriter* body) {
        if (after)
            putKey("ExclusiveStartKey", *after, body);
        Api::put("Limit", static_cast<long long>(limit), body);
        Api::put("TableName", table.name.real, body);
    });
}

bool ItemRequests::writePut(const Table& table, const StoredKey& key, const Items::Item& item, JsonWriter* writer)
{
    writer->StartObject();
    putName("PutRequest", writer);
    writer->StartObject();
    putName("Item", writer);
    if (!putItem(table, key, item, writer))
        return false;
    writer->EndObject();
    writer->EndObject();
    return true;
}

void ItemRequests::writeDelete(const StoredKey& key, JsonWriter* writer)
{
    writer->StartObject();
    putName("DeleteRequest", writer);
    writer->StartObject();
    putKey("Key", key, writer);
    writer->EndObject();
    writer->EndObject();
}

} // namespace Api
