#ifndef QUORVA_PROTOCOL_LIMITS_H
#define QUORVA_PROTOCOL_LIMITS_H

/** The server's limits that clients need to know. */
namespace Limits {

/** The number of records that a Query or Scan without a "Limit" examines for one page. */
inline constexpr int PageItems = 128;

/**
 * The largest item that can be read back: 512 KiB of JSON text, without its keys. Larger ones can be written, except by
 * a Commit.
 */
inline constexpr int ItemBytes = 0x80000;

/**
 * The maximum length of both keys together that a Query or Scan can read: with four digits, they fill its key buffer.
 */
inline constexpr int KeyCharacters = 4092;

/** The number of database files that a directory can have open: a table's description, and each data file in use. */
inline constexpr int OpenDatabases = 1023;

} // namespace Limits

#endif
