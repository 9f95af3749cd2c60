#ifndef QUORVA_ITEMS_BASE85_H
#define QUORVA_ITEMS_BASE85_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/**
 * Bytes as text of 85 printable ASCII characters, none of which JSON escapes: every 4 bytes become 5 characters, and
 * 1 to 3 bytes at the end one character more than they are. The characters' order is that of their values, so the texts
 * of equally many bytes are ordered as the bytes are. Stored: do not change. Pure; any thread.
 */
namespace Items::Base85 {

/** The first and the last character. '\\', which is between them, is left out. */
inline constexpr char First = '%';
inline constexpr char Last = 'z';

inline constexpr std::size_t GroupBytes = 4;

std::string encode(std::string_view bytes);

/** The bytes of a text that encode() gives; empty for any other. */
std::optional<std::string> decode(std::string_view text);

} // namespace Items::Base85

#endif
