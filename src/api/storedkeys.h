#ifndef QUORVA_API_STOREDKEYS_H
#define QUORVA_API_STOREDKEYS_H

#include "api/error.h"
#include "api/keyrange.h"
#include "api/tabledescription.h"
#include "items/attributevalue.h"
#include "items/keycodec.h"

#include <string>
#include <string_view>

/** The key attributes of items: checked as the API does, and in the form in which the server stores them. Pure; any
 * thread. */
namespace Api::ItemKeys {

/** The message of validation() for a "Key" whose attributes are not the table's keys. */
inline constexpr const char* WrongKey = "The provided key element does not match the schema";

Items::AttributeValue::Type typeOf(const KeyAttribute& attribute);
Items::KeyCodec::Form formOf(const Table& table, const KeyAttribute& attribute);

/** The keys of an item that is to be stored. Fails if one is missing, or has another type or a size that is not
 * allowed. */
[[nodiscard]] Failure ofItem(const Table& table, const Items::Item& item, StoredKey* key);

/** The keys in a "Key", which must have exactly these attributes. */
[[nodiscard]] Failure ofKey(const Table& table, const Items::Item& attributes, StoredKey* key);

/** One key, of the right type; and the bounds of the range keys that begin with a value. */
[[nodiscard]] Failure hashBytes(const Table& table, const Items::AttributeValue& value, std::string* bytes);
[[nodiscard]] Failure rangeBytes(const Table& table, const Items::AttributeValue& value, std::string* bytes);
[[nodiscard]] Failure rangeBounds(const Table& table, const Items::AttributeValue& prefix,
                                  Items::KeyCodec::Bounds* bounds);

/** Adds the key attributes to an item from the server. Fails if they are not keys of this API. */
[[nodiscard]] Failure addTo(Items::Item* item, const Table& table, const StoredKey& key);

/** The error for an item that the server has under a key that is none of this API. */
Error notOfThisApi(const Table& table, const StoredKey& key);

/** The command that deletes an item that this API cannot read, for messages. */
std::string deletion(const Table& table, const StoredKey& key);

/** Only the key attributes of an item. */
Items::Item only(const Table& table, const Items::Item& item);

bool isKey(const Table& table, std::string_view attribute);

} // namespace Api::ItemKeys

#endif
