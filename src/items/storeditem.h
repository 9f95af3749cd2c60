#ifndef QUORVA_ITEMS_STOREDITEM_H
#define QUORVA_ITEMS_STOREDITEM_H

#include "items/attributevalue.h"
#include "items/json.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Items {

/**
 * An item without its key attributes, as the server stores it: the item's canonical JSON or, if that is longer than the
 * server can read back, an object with one member, whose value is {"Z": "..."}. No attribute of an item has that type,
 * and no key attribute has the member's name. docs/storage-format.md describes the packed form. Pure; any thread.
 */
namespace StoredItem {

/** The longest text that the server can read back. */
inline constexpr std::size_t MostBytes = 524288;

/**
 * The JSON text of the object to be stored; equal items have equal texts. Empty if even the packed form is longer
 * than MostBytes: for items larger than Items::MostItemBytes, or thousands of small binary sets of random bytes.
 */
std::optional<std::string> textOf(const Item& item);

/**
 * The item of an object that textOf() has made, or that was stored through the wire protocol or the API of 2011-12-05.
 * Skips members named in `keyNames`, which the server's replies include.
 *
 * False, with `why` set, if it is not an item of the API; `item` is then unspecified. For the document, see
 * readValue().
 */
[[nodiscard]] bool read(const JsonValue& stored, std::span<const std::string_view> keyNames, Item* item,
                        std::string* why);

} // namespace StoredItem

} // namespace Items

#endif
