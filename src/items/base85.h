#ifndef QUORVA_ITEMS_BASE85_H
#define QUORVA_ITEMS_BASE85_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/**
 * Bytes as text of 85 printable ASCII characters, none of which JSON escapes: every 4 bytes become 5 characters, and
 * the last 1 to 3 bytes one character more than there are bytes. Characters are in the order of their values, so texts
 * of the same length compare as their bytes do. On disk: do not change. Pure; any thread.
 */
namespace Items::Base85 {

/** The first and the last character. '\\', which is between them, is not used. */
inline constexpr char First = '%';
inline constexpr char Last = 'z';

inline constexpr std::size_t GroupBytes = 4;

std::string encode(std::string_view bytes);

/** The bytes of a text that encode() has made; empty for any other. */
std::optional<std::string> decode(std::string_view text);

} // namespace Items::Base85

#endif
