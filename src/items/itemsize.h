#ifndef QUORVA_ITEMS_ITEMSIZE_H
#define QUORVA_ITEMS_ITEMSIZE_H

#include "items/attributevalue.h"

#include <cstddef>

namespace Items {

/** The largest item allowed, including its keys, as sizeOfItem() counts. */
inline constexpr std::size_t MostItemBytes = 400 * 1024;

/**
 * The size of a value in bytes as the API counts it, for limits and capacity: text in UTF-8, binary as it is before
 * base64, BOOL and NULL 1, a number 1 and 1 for every two significant digits, sets the sum of their elements, maps and
 * lists 3 and for each element 1 more than its name and value.
 */
std::size_t sizeOf(const AttributeValue& value);

/** The size of an item: that of its attributes' names and values. */
std::size_t sizeOfItem(const Item& item);

} // namespace Items

#endif
