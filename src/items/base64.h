#ifndef QUORVA_ITEMS_BASE64_H
#define QUORVA_ITEMS_BASE64_H

#include <string>
#include <string_view>

/** Binary values in JSON: base64 with padding, without white space. Pure; any thread. */
namespace Items::Base64 {

std::string encode(std::string_view bytes);

/**
 * True if `text` is the encoding of some bytes, which are then in `bytes`. False, with `why` set to the API's words,
 * for a wrong length, an invalid character, or bits after the last byte.
 */
[[nodiscard]] bool decode(std::string_view text, std::string* bytes, std::string* why);

} // namespace Items::Base64

#endif
