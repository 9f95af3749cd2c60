#ifndef QUORVA_TESTS_CRASH_DURABLESTATE_H
#define QUORVA_TESTS_CRASH_DURABLESTATE_H

#include <string>

#include <sys/types.h>

/**
 * The names in the state directory, in which the preloaded library records what is durable (writeback/) and from which
 * a test recreates what a loss of power leaves (writebackloss.cpp). Files and directories are identified by their inode
 * numbers, which renames do not change.
 *
 *     bytes-17      the durable bytes of file 17
 *
 *     held-17       a hard link to file 17, or directory 17 itself when it was removed: keeps the number from being
 *                   used again
 *
 *     names-4/a     a symbolic link "f17" or "d17": in directory 4 the name "a" leads durably to file or directory 17
 *
 *     pending-17    the range of file 17 in which a synchronous write is in progress; empty when none is
 *
 *     lost-17       the blocks of file 17 that a failed sync has left in the page cache
 */
namespace DurableState {

inline constexpr char FileKind = 'f';
inline constexpr char DirectoryKind = 'd';

inline std::string bytesOf(ino_t inode)
{
    return "bytes-" + std::to_string(inode);
}

inline std::string held(ino_t inode)
{
    return "held-" + std::to_string(inode);
}

inline std::string namesOf(ino_t directory)
{
    return "names-" + std::to_string(directory);
}

inline std::string pending(ino_t inode)
{
    return "pending-" + std::to_string(inode);
}

inline std::string lost(ino_t inode)
{
    return "lost-" + std::to_string(inode);
}

inline std::string entry(char kind, ino_t inode)
{
    return kind + std::to_string(inode);
}

} // namespace DurableState

#endif
