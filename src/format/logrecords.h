#ifndef QUORVA_FORMAT_LOGRECORDS_H
#define QUORVA_FORMAT_LOGRECORDS_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

/**
 * What is in Berkeley DB's log files, as far as anybody but Berkeley DB reads it. On disk, do not change; numbers have
 * 32 bits, in the byte order of the machine. Pure; any thread.
 *
 * A file is a sequence of records, each with a header in front. The first one describes the file.
 */
namespace LogRecords {

/** What the header of a record begins with. */
struct Header {
    std::uint32_t previous = 0; // where the record before it begins; for the first of a file, in the file before
    std::uint32_t length = 0;   // with the header; 0 behind the last record of a file
};

/** All of the header: its last part is the checksum of the record. */
inline constexpr std::size_t HeaderBytes = 12;

/** The record that a file begins with, behind its header. */
struct FileHeader {
    std::uint32_t magic = 0;
    std::uint32_t version = 0;
    std::uint32_t fullSize = 0; // at which Berkeley DB begins the next file
    std::uint32_t unused = 0;
};

/** Where the second record of a file begins. */
inline constexpr std::size_t FirstRecord = HeaderBytes + sizeof(FileHeader);

/** More than the largest record has: one with several pages of 64 KB. */
inline constexpr std::uint64_t LargestRecord = 512UL * 1024;

bool isLogFile(const FileHeader& header);

/** When a transaction was committed, if that is what the record says; without its header. */
std::optional<std::time_t> commitTime(std::string_view record);

} // namespace LogRecords

#endif
