#ifndef QUORVA_PROTOCOL_LIMITS_H
#define QUORVA_PROTOCOL_LIMITS_H

/** The server's limits, which clients have to know as well. */
namespace Limits {

/** The records that a Query or Scan without a "Limit" examines for one page. */
inline constexpr int PageItems = 128;

/** The bytes of an item's JSON text, without its keys, that can be read back: 512 KiB. More can be written. */
inline constexpr int ItemBytes = 0x80000;

/** The characters of both keys that a Query or Scan can read: with four digits, they fill its memory for keys. */
inline constexpr int KeyCharacters = 4092;

} // namespace Limits

#endif
