#ifndef QUORVA_STORAGE_LOGTAIL_H
#define QUORVA_STORAGE_LOGTAIL_H

#include <QByteArray>

#include <cstdint>
#include <filesystem>

class BDBEnv;

/** A place in an environment's log: a file number and a byte offset in that file. */
struct LogPosition {
    std::uint32_t file = 0;
    std::uint32_t offset = 0;
};

/** The log files of an open environment, and how far they reach. Any thread. */
namespace LogTail {

/**
 * Flushes the log and returns the position of its next record: everything before it is in the log files. 0 or an error
 * code.
 */
[[nodiscard]] int flushedPosition(BDBEnv* env, LogPosition* position);

/** The number of the oldest log file that the environment has. 0; DB_NOTFOUND while the log is empty; an error code. */
[[nodiscard]] int firstFile(BDBEnv* env, std::uint32_t* number);

/**
 * The number of the oldest log file that recovery still needs: a copy of the database files that starts at this point
 * needs it and all later ones. 0; DB_NOTFOUND while the log is empty; an error code.
 */
[[nodiscard]] int firstNeededFile(BDBEnv* env, std::uint32_t* number);

/**
 * Copies the log between two positions into the files of the same names in `target`, at the same offsets, and syncs
 * them to disk. 0 or an errno value.
 */
[[nodiscard]] int copyRange(BDBEnv* env, const QByteArray& target, LogPosition from, LogPosition to);

/** The path of the environment's log file of that number. 0 or an error code. */
[[nodiscard]] int filePath(BDBEnv* env, std::uint32_t number, std::filesystem::path* path);

} // namespace LogTail

#endif
