#ifndef QUORVA_TESTS_CRASH_WRITEBACK_RAWCALLS_H
#define QUORVA_TESTS_CRASH_WRITEBACK_RAWCALLS_H

#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/types.h>

/** Direct system calls, bypassing the functions that this library replaces. */
namespace WriteBack {

inline constexpr off_t BlockSize = 4096; // the unit in which the page cache is written back

/** An image that is not up to date would let tests pass that should fail; so the process is aborted. */
[[noreturn]] void stop(const std::string& what);

int rawClose(int descriptor);

int rawTruncate(int descriptor, off_t size);

int rawOpen(const char* path, int flags, mode_t mode = 0);

off_t sizeOf(int descriptor);

/** Copies a range between descriptors, up to the end of the source. */
void copyRange(int from, int to, off_t begin, off_t end);

/** False when nothing is there; symbolic links are not followed. */
bool statusOf(const std::string& path, struct stat* status);

/** The current path of a descriptor's file. For a removed file, the system adds words to it. */
std::string pathOf(int descriptor);

/** The absolute form of a path in a system call, which is relative to a descriptor of a directory, or to AT_FDCWD. */
std::string absolute(int directory, const char* path);

std::string parentOf(const std::string& path);

std::string nameOf(const std::string& path);

/**
 * Waits for the time in CRASH_SLOW_LOG if the descriptor is that of a log file. What is written meanwhile may or may
 * not become durable as well; the caller holds no mutex.
 */
void waitForDisk(int descriptor);

/** The names in a directory; none when it cannot be read. */
std::vector<std::string> namesIn(const std::string& directory);

} // namespace WriteBack

#endif
