#ifndef QUORVA_FORMAT_LOGRECORDS_H
#define QUORVA_FORMAT_LOGRECORDS_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

/**
 * The content of Berkeley DB's log files, as far as this system reads it itself. On disk, do not change; numbers have
 * 32 bits, in the byte order of the machine. Pure; any thread.
 *
 * A file is a sequence of records, each preceded by a header. The first record describes the file.
 */
namespace LogRecords {

/** The first part of a record's header. */
struct RecordHeader {
    std::uint32_t previous = 0; // offset of the previous record; for the first one, in the previous file
    std::uint32_t length = 0;   // including the header; 0 after the last record of a file
};

/** The size of the whole header; its last part is the checksum of the record. */
inline constexpr std::size_t HeaderBytes = 12;

/** The first record of a file, without its header. */
struct FileHeader {
    std::uint32_t magic = 0;
    std::uint32_t version = 0;
    std::uint32_t fullSize = 0; // at which Berkeley DB starts the next file
    std::uint32_t unused = 0;
};

/** The offset of the second record of a file. */
inline constexpr std::size_t FirstRecord = HeaderBytes + sizeof(FileHeader);

/** An upper bound for the size of a record: it may contain several pages of 64 KB. */
inline constexpr std::uint64_t LargestRecord = 512UL * 1024;

bool isLogFile(const FileHeader& header);

/** The time of the commit, if the record, passed without its header, is that of a commit. */
std::optional<std::time_t> commitTime(std::string_view record);

/**
 * The number of the log file at which a recovery from a checkpoint begins, if the record is that of a checkpoint: older
 * files contain no records of transactions that were active then.
 */
std::optional<std::uint32_t> checkpointStart(std::string_view record);

/** What a record says about the existence of a file. */
struct FileEvent {
    enum Kind {
        Used,   // the file is open, or created under this name
        Removed // removed or renamed
    };
    Kind kind;
    std::uint32_t transaction; // 0: none; otherwise it counts when that transaction commits
    std::string_view name;     // in the environment; part of the record
};

/** The same for a record that opens, renames or removes a database file. Files of transient names are not reported. */
std::optional<FileEvent> fileEvent(std::string_view record);

/** The transaction that a record belongs to; 0: none. Numbers restart after a recovery. */
std::uint32_t transactionOf(std::string_view record);

/** Whether the record is the first one of its transaction. */
bool beginsTransaction(std::string_view record);

/**
 * The child transaction that has committed inside the record's transaction, if the record says so: its changes count
 * once the parent commits.
 */
std::optional<std::uint32_t> committedChild(std::string_view record);

/** How many bytes of a record, without its header, commitTime() and checkpointStart() examine. */
inline constexpr std::size_t LookedAt = 24;

} // namespace LogRecords

#endif
