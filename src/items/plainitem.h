#ifndef QUORVA_ITEMS_PLAINITEM_H
#define QUORVA_ITEMS_PLAINITEM_H

#include "items/attributevalue.h"

#include <string>
#include <string_view>

/**
 * Stored items in the form that most have: JSON without white space whose members ascend by their names, each a text or
 * a number in its shortest form, {"S": ...} or {"N": ...}, all without escapes. It is also how the API shows them, so
 * they need not be read. Pure; any thread.
 */
namespace Items::PlainItem {

/**
 * Appends the JSON of a stored item, with its keys among the other attributes: the same bytes as those of the item that
 * StoredItem::read() reads. False if the item has another form, or a member with the name of a key; `json` is then
 * unspecified.
 */
[[nodiscard]] bool append(std::string_view stored, const Item& keys, std::string* json);

} // namespace Items::PlainItem

#endif
