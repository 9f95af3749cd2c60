#ifndef QUORVA_ITEMS_UTF8_H
#define QUORVA_ITEMS_UTF8_H

#include <string_view>

namespace Items {

/** True for UTF-8: no overlong forms, no halves of surrogate pairs, nothing above U+10FFFF. Pure; any thread. */
bool isUtf8(std::string_view text);

} // namespace Items

#endif
