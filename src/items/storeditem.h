#ifndef QUORVA_ITEMS_STOREDITEM_H
#define QUORVA_ITEMS_STOREDITEM_H

#include "items/attributevalue.h"

#include <rapidjson/document.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Items {

/**
 * An item without its key attributes, as the server stores it: the item's canonical JSON, or, when that is longer than
 * the server reads back, an object with one member, whose value is {"Z": "..."}. No attribute of an item has that type,
 * and no key attribute the member's name. docs/storage-format.md has the packed form. Pure; any thread.
 */
namespace StoredItem {

/** The longest text that the server reads back. */
inline constexpr std::size_t MostBytes = 524288;

/**
 * The JSON text of the object to be stored; equal items have equal texts. Empty when even the packed form is longer
 * than MostBytes: an item larger than Items::MostItemBytes, or one of thousands of small binary sets of random bytes.
 */
std::optional<std::string> textOf(const Item& item);

/**
 * The item of an object that textOf() has made, or that was stored through the wire protocol or the API of 2011-12-05.
 * Members of the names in `keyNames`, which the server's replies have as well, are left out.
 *
 * False, with `why` set, for one that is no item of the API; `item` is then unspecified. The document is as for
 * readValue().
 */
[[nodiscard]] bool read(const rapidjson::Value& stored, std::span<const std::string_view> keyNames, Item* item,
                        std::string* why);

} // namespace StoredItem

} // namespace Items

#endif
