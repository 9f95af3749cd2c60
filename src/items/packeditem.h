#ifndef QUORVA_ITEMS_PACKEDITEM_H
#define QUORVA_ITEMS_PACKEDITEM_H

#include "items/attributevalue.h"

#include <optional>
#include <string>
#include <string_view>

/**
 * Items as bytes, hardly more of them than the API counts as their size, whatever the contents. On disk; the grammar is
 * in docs/storage-format.md. Pure; any thread.
 */
namespace Items::PackedItem {

/** Empty only for an item that is far larger than the API allows. Equal items give equal bytes. */
std::optional<std::string> pack(const Item& item);

/** The item that pack() has made the bytes of. Empty for other bytes. */
std::optional<Item> unpack(std::string_view bytes);

} // namespace Items::PackedItem

#endif
