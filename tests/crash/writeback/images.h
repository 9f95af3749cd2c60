#ifndef QUORVA_TESTS_CRASH_WRITEBACK_IMAGES_H
#define QUORVA_TESTS_CRASH_WRITEBACK_IMAGES_H

#include "writeback/tracker.h"

#include <cstddef>
#include <set>
#include <string>

#include <sys/types.h>

/** The durable bytes of each file, which are kept in an image of it. */
namespace WriteBack {

/** The path of the image of a file. A file that has none gets an empty one: nothing of it is durable so far. */
std::string knownImage(const std::string& path, ino_t inode);

/** The blocks in which a file differs from its image. For files that this process has not seen before. */
std::set<off_t> differingBlocks(int file, int image);

/**
 * A write that a killed process had begun was completed by the system: copies it to the image. True if there was one.
 */
bool completePending(int descriptor, int image, const File& file);

/** The blocks of an environment's file that a sync has failed to write, for files that this process has not seen
 * before.
 */
std::set<off_t> lostBlocks(ino_t inode);

/** What was written to a file is in the page cache only, until it is written again. The file's mutex is held. */
void loseDirty(File* file);

/** The file's mutex is held. */
void markDirty(File* file, off_t begin, off_t end);

/** Makes a write through a synchronous descriptor durable: construct, write, finish(). The file's mutex is held. */
class SynchronousWrite {
public:
    SynchronousWrite(const File& file, int descriptor, off_t offset, std::size_t size);
    SynchronousWrite(const SynchronousWrite&) = delete;
    SynchronousWrite& operator=(const SynchronousWrite&) = delete;

    /** `written` is the result of the write, and is returned. Keeps errno. */
    ssize_t finish(ssize_t written);

private:
    const off_t offset_;
    int reader_ = -1;
    int image_ = -1;
    int noted_ = -1;
};

/** Everything that was written to a file has become durable. The file's mutex is held. */
void synchronised(File* file, int descriptor);

/** Outside of the environment: the image becomes a copy of the file, whoever wrote to it. The tracker's mutex is held.
 */
void synchroniseByComparison(int descriptor, const std::string& path, ino_t inode);

} // namespace WriteBack

#endif
