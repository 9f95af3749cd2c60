#include "api/storedkeys.h"

#include "items/itemsize.h"

#include <optional>
#include <utility>

namespace Api {

namespace {

using Items::AttributeValue;
using Items::Item;
namespace KeyCodec = Items::KeyCodec;

enum class Part { Hash, Range };

Failure checkSize(const AttributeValue& value, Part part)
{
    const std::size_t bytes = Items::sizeOf(value);
    if (part == Part::Hash && bytes > KeyCodec::MostHashBytes)
        return Errors::validation("One or more parameter values were invalid: Size of hashkey has exceeded the maximum "
                                  "size limit of2048 bytes");
    if (part == Part::Range && bytes > KeyCodec::MostRangeBytes)
        return Errors::validation("One or more parameter values were invalid: Aggregated size of all range keys has "
                                  "exceeded the size limit of 1024 bytes");
    return std::nullopt;
}

bool isEmpty(const AttributeValue& value)
{
    const std::string* const text = value.asString() != nullptr ? value.asString() : value.asBinary();
    return text != nullptr && text->empty();
}

Failure notLatin1(const KeyAttribute& attribute)
{
    return Errors::validation("One or more parameter values were invalid: The key " + attribute.name +
                              " can only have the characters U+0001 to U+00FF, as the table was made through the API "
                              "of 2011-12-05");
}

Failure checkLength(const Table& table, const KeyAttribute& attribute, Part part, const AttributeValue& value)
{
    // The API of 2011-12-05 stores empty range keys.
    if (isEmpty(value) && !(table.isLatin1 && part == Part::Range))
        return Errors::validation("One or more parameter values are not valid. The AttributeValue for a key attribute "
                                  "cannot contain an empty " +
                                  std::string(attribute.type == KeyType::Binary ? "binary" : "string") +
                                  " value. Key: " + attribute.name);
    return checkSize(value, part);
}

/** The server's bytes for a value, which must have the key's type. */
Failure encode(const Table& table, const KeyAttribute& attribute, Part part, const AttributeValue& value,
               std::string* bytes)
{
    if (Failure failure = checkLength(table, attribute, part, value))
        return failure;
    if (isEmpty(value))
        return std::nullopt;
    auto encoded = KeyCodec::encode(ItemKeys::formOf(table, attribute), value);
    if (!encoded)
        return notLatin1(attribute);
    *bytes = std::move(*encoded);
    return std::nullopt;
}

/** Reads both keys; `read` is called with the attribute, its part and the bytes to set. */
template <typename Read> Failure readBoth(const Table& table, Read&& read, StoredKey* key)
{
    key->hash.clear();
    key->range.clear();
    if (Failure failure = read(table.hash, Part::Hash, &key->hash))
        return failure;
    if (table.range)
        return read(*table.range, Part::Range, &key->range);
    key->range = KeyCodec::NoRange;
    return std::nullopt;
}

/** A word of a command line. */
std::string shellWord(std::string_view word)
{
    std::string text = "'";
    for (const char c : word)
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + '\'';
}

} // namespace

AttributeValue::Type ItemKeys::typeOf(const KeyAttribute& attribute)
{
    switch (attribute.type) {
    case KeyType::Number:
        return AttributeValue::Type::Number;
    case KeyType::Binary:
        return AttributeValue::Type::Binary;
    case KeyType::String:
        break;
    }
    return AttributeValue::Type::String;
}

KeyCodec::Form ItemKeys::formOf(const Table& table, const KeyAttribute& attribute)
{
    if (table.isLatin1)
        return KeyCodec::Form::Latin1;
    switch (attribute.type) {
    case KeyType::Number:
        return KeyCodec::Form::Number;
    case KeyType::Binary:
        return KeyCodec::Form::Binary;
    case KeyType::String:
        break;
    }
    return KeyCodec::Form::String;
}

Error ItemKeys::notOfThisApi(const Table& table, const StoredKey& key)
{
    return Errors::validation("The table " + table.name.shown + " has an item whose keys are none of this API: \"" +
                              KeyCodec::jsonText(key.hash) + "\", \"" + KeyCodec::jsonText(key.range) +
                              "\". To delete it: " + deletion(table, key));
}

std::string ItemKeys::deletion(const Table& table, const StoredKey& key)
{
    return "quorvactl delete " + shellWord(table.name.real) + " -- " + shellWord(KeyCodec::jsonText(key.hash)) + ' ' +
           shellWord(KeyCodec::jsonText(key.range));
}

Failure ItemKeys::ofItem(const Table& table, const Item& item, StoredKey* key)
{
    return readBoth(
        table,
        [&](const KeyAttribute& attribute, Part part, std::string* bytes) -> Failure {
            const auto found = item.find(attribute.name);
            if (found == item.end())
                return Errors::validation("One or more parameter values were invalid: Missing the key " +
                                          attribute.name + " in the item");
            if (found->second.type() != ItemKeys::typeOf(attribute))
                return Errors::validation("One or more parameter values were invalid: Type mismatch for key " +
                                          attribute.name + " expected: " + std::string(nameOf(attribute.type)) +
                                          " actual: " + std::string(Items::nameOf(found->second.type())));
            return encode(table, attribute, part, found->second, bytes);
        },
        key);
}

Failure ItemKeys::ofKey(const Table& table, const Item& attributes, StoredKey* key)
{
    if (attributes.size() != (table.range ? 2 : 1))
        return Errors::validation(WrongKey);
    return readBoth(
        table,
        [&](const KeyAttribute& attribute, Part part, std::string* bytes) -> Failure {
            const auto found = attributes.find(attribute.name);
            if (found == attributes.end() || found->second.type() != ItemKeys::typeOf(attribute))
                return Errors::validation(WrongKey);
            return encode(table, attribute, part, found->second, bytes);
        },
        key);
}

Failure ItemKeys::hashBytes(const Table& table, const AttributeValue& value, std::string* bytes)
{
    return encode(table, table.hash, Part::Hash, value, bytes);
}

Failure ItemKeys::rangeBytes(const Table& table, const AttributeValue& value, std::string* bytes)
{
    return encode(table, *table.range, Part::Range, value, bytes);
}

Failure ItemKeys::rangeBounds(const Table& table, const AttributeValue& prefix, KeyCodec::Bounds* bounds)
{
    if (Failure failure = checkLength(table, *table.range, Part::Range, prefix))
        return failure;
    auto found = KeyCodec::prefixBounds(formOf(table, *table.range), prefix);
    if (!found)
        return notLatin1(*table.range);
    *bounds = std::move(*found);
    return std::nullopt;
}

Failure ItemKeys::addTo(Item* item, const Table& table, const StoredKey& key)
{
    auto hash = KeyCodec::decode(formOf(table, table.hash), key.hash);
    if (!hash)
        return notOfThisApi(table, key);
    item->insert_or_assign(table.hash.name, std::move(*hash));
    if (!table.range) // another range key would give two items the same key
        return key.range == KeyCodec::NoRange ? std::nullopt : Failure(notOfThisApi(table, key));
    auto range = KeyCodec::decode(formOf(table, *table.range), key.range);
    if (!range)
        return notOfThisApi(table, key);
    item->insert_or_assign(table.range->name, std::move(*range));
    return std::nullopt;
}

Item ItemKeys::only(const Table& table, const Item& item)
{
    Item keys;
    const auto add = [&](const std::string& name) {
        if (const auto found = item.find(name); found != item.end())
            keys.insert(*found);
    };
    add(table.hash.name);
    if (table.range)
        add(table.range->name);
    return keys;
}

bool ItemKeys::isKey(const Table& table, std::string_view attribute)
{
    return attribute == table.hash.name || (table.range && attribute == table.range->name);
}

} // namespace Api
