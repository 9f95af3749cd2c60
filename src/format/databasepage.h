#ifndef QUORVA_FORMAT_DATABASEPAGE_H
#define QUORVA_FORMAT_DATABASEPAGE_H

#include <cstddef>
#include <cstdint>

/**
 * The first page of Berkeley DB's database files, as far as this system reads it itself. On disk, do not change. Pure;
 * any thread.
 *
 *     offset   0   file number and, at 4, offset of the log record of the last change; 0 without a log
 *              8   the page's own number
 *             12   the magic number, which identifies the kind of database
 *             52   20 bytes that identify the database, the same in all of its copies
 *
 * Numbers have 32 bits, in the byte order of the machine that created the file.
 */
namespace DatabasePage {

/** The first bytes of a file, as read from it. */
struct Start {
    std::uint32_t logFile = 0;
    std::uint32_t logOffset = 0;
    std::uint32_t page = 0;
    std::uint32_t magic = 0;
};
static_assert(sizeof(Start) == 16);

inline constexpr std::size_t IdOffset = 52;
inline constexpr std::size_t IdLength = 20;

/** True for the magic number of any kind of database, in either byte order: files move between machines. */
bool isMagic(std::uint32_t number);

} // namespace DatabasePage

#endif
