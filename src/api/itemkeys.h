#ifndef QUORVA_API_ITEMKEYS_H
#define QUORVA_API_ITEMKEYS_H

#include "api/error.h"
#include "api/keyrange.h"
#include "api/tabledescription.h"
#include "items/attributevalue.h"
#include "items/keycodec.h"

#include <rapidjson/document.h>

#include <string>

/** The key attributes of items: checked as the API does, and as the server stores them. Pure; any thread. */
namespace Api::ItemKeys {

Items::KeyCodec::Form formOf(const Table& table, const KeyAttribute& attribute);

/** The keys of an item that is to be stored. Fails when it lacks one, or has one of another type or size. */
[[nodiscard]] Failure ofItem(const Table& table, const Items::Item& item, StoredKey* key);

/** The keys in a "Key", which has to have these attributes and no others. */
[[nodiscard]] Failure ofKey(const Table& table, const Items::Item& attributes, StoredKey* key);

/** The attributes of a "Key" in a request. */
[[nodiscard]] Failure read(const Table& table, const rapidjson::Value& json, StoredKey* key);

/** Adds the key attributes to an item that the server has. Fails when they are none of this API. */
[[nodiscard]] Failure addTo(Items::Item* item, const Table& table, const StoredKey& key);

/** Only the key attributes of an item. */
Items::Item only(const Table& table, const Items::Item& item);

bool isKey(const Table& table, std::string_view attribute);

} // namespace Api::ItemKeys

#endif
