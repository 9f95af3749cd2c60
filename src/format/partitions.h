#ifndef QUORVA_FORMAT_PARTITIONS_H
#define QUORVA_FORMAT_PARTITIONS_H

#include <string_view>

/** Which data file of a table holds an item. On disk, do not change. Pure; any thread. */
namespace Partitions {

/** The number of data files of a table. */
inline constexpr unsigned Count = 256;

/** Byte 3 of the hash key's MD5 digest, masked with `count` - 1; `count` is a power of two of at most 256. */
unsigned ofHashKey(std::string_view hashKey, unsigned count = Count);

/**
 * Whether a record with this key can belong to a partition: four digits, the length of the hash key, the hash key and
 * the range key. A hash key of 10000 bytes or more has five digits, which cannot be distinguished from four and a digit
 * of the hash key, so both interpretations count.
 */
bool mayHold(unsigned partition, std::string_view recordKey);

} // namespace Partitions

#endif
