#include "writeback/images.h"

#include "durablestate.h"
#include "writeback/rawcalls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace WriteBack {

namespace {

/** The range of a synchronous write that is in progress. */
struct Pending {
    off_t begin;
    off_t end;
};

std::string pendingPath(const File& file)
{
    return tracker().state + DurableState::pending(file.inode);
}

std::string lostPath(ino_t inode)
{
    return tracker().state + DurableState::lost(inode);
}

void recordLost(const File& file)
{
    const std::vector<off_t> blocks(file.lost.begin(), file.lost.end());
    const std::size_t bytes = blocks.size() * sizeof blocks.front();
    const int record = rawOpen(lostPath(file.inode).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (record < 0 || syscall(SYS_pwrite64, record, blocks.data(), bytes, 0) != static_cast<long>(bytes))
        stop("record of lost blocks");
    rawClose(record);
}

} // namespace

std::set<off_t> lostBlocks(ino_t inode)
{
    std::set<off_t> blocks;
    const int record = rawOpen(lostPath(inode).c_str(), O_RDONLY | O_CLOEXEC);
    if (record < 0)
        return blocks;
    for (off_t block = 0; syscall(SYS_read, record, &block, sizeof block) == sizeof block;)
        blocks.insert(block);
    rawClose(record);
    return blocks;
}

void loseDirty(File* file)
{
    file->lost.merge(file->dirty);
    file->dirty.clear();
    recordLost(*file);
}

bool completePending(int descriptor, int image, const File& file)
{
    const std::string path = pendingPath(file);
    const int noted = rawOpen(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (noted < 0)
        return false;
    Pending pending{};
    const bool isPending = syscall(SYS_pread64, noted, &pending, sizeof pending, 0) == sizeof pending;
    if (isPending)
        copyRange(descriptor, image, pending.begin, pending.end);
    rawClose(noted);
    (void)syscall(SYS_unlink, path.c_str());
    return isPending;
}

std::set<off_t> differingBlocks(int file, int image)
{
    std::set<off_t> differing;
    char left[BlockSize];
    char right[BlockSize];
    const off_t size = std::max(sizeOf(file), sizeOf(image));
    for (off_t at = 0; at < size; at += BlockSize) {
        const ssize_t a = syscall(SYS_pread64, file, left, BlockSize, at);
        const ssize_t b = syscall(SYS_pread64, image, right, BlockSize, at);
        if (a < 0 || b < 0)
            stop("comparison with an image");
        if (a != b || std::memcmp(left, right, static_cast<std::size_t>(a)) != 0)
            differing.insert(at / BlockSize);
    }
    return differing;
}

std::string knownImage(const std::string& path, ino_t inode)
{
    const std::string image = tracker().state + DurableState::bytesOf(inode);
    const int made = rawOpen(image.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (made < 0 && errno == EEXIST)
        return image;
    const std::string held = tracker().state + DurableState::held(inode);
    if (made < 0 || (syscall(SYS_link, path.c_str(), held.c_str()) != 0 && errno != EEXIST))
        stop("image of " + path);
    rawClose(made);
    return image;
}

void markDirty(File* file, off_t begin, off_t end)
{
    for (off_t block = begin / BlockSize; block * BlockSize < end; ++block)
        file->dirty.insert(block);
    if (file->lost.empty())
        return;
    for (off_t block = begin / BlockSize; block * BlockSize < end; ++block)
        file->lost.erase(block);
    recordLost(*file);
}

SynchronousWrite::SynchronousWrite(const File& file, int descriptor, off_t offset, std::size_t size) : offset_(offset)
{
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    reader_ = rawOpen(self.c_str(), O_RDONLY | O_CLOEXEC);
    image_ = rawOpen(file.image.c_str(), O_RDWR | O_CLOEXEC);
    noted_ = rawOpen(pendingPath(file).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (reader_ < 0 || image_ < 0 || noted_ < 0)
        stop("image of a synchronous write");
    const Pending pending{offset, offset + static_cast<off_t>(size)};
    if (syscall(SYS_pwrite64, noted_, &pending, sizeof pending, 0) != sizeof pending)
        stop("note of a synchronous write");
}

ssize_t SynchronousWrite::finish(ssize_t written)
{
    const int error = errno;
    if (written > 0)
        copyRange(reader_, image_, offset_, offset_ + written);
    if (rawTruncate(noted_, 0) != 0)
        stop("note of a synchronous write");
    rawClose(reader_);
    rawClose(image_);
    rawClose(noted_);
    errno = error;
    return written;
}

void synchronised(File* file, int descriptor)
{
    if (tracker().ignoreSync)
        return;
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    const int reader = rawOpen(self.c_str(), O_RDONLY | O_CLOEXEC);
    const int image = rawOpen(file->image.c_str(), O_RDWR | O_CLOEXEC);
    if (reader < 0 || image < 0)
        stop("image of a synchronised file");
    for (const off_t block : file->dirty)
        copyRange(reader, image, block * BlockSize, (block + 1) * BlockSize);
    if (const off_t size = sizeOf(reader); size != sizeOf(image) && rawTruncate(image, size) != 0)
        stop("length of an image");
    file->dirty.clear();
    rawClose(reader);
    rawClose(image);
}

void synchroniseByComparison(int descriptor, const std::string& path, ino_t inode)
{
    struct stat named {};
    if (tracker().ignoreSync || !statusOf(path, &named) || named.st_ino != inode)
        return; // it was removed
    const std::string imagePath = knownImage(path, inode);
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    const int reader = rawOpen(self.c_str(), O_RDONLY | O_CLOEXEC);
    const int image = rawOpen(imagePath.c_str(), O_RDWR | O_CLOEXEC);
    if (reader < 0 || image < 0)
        stop("image of " + path);
    for (const off_t block : differingBlocks(reader, image))
        copyRange(reader, image, block * BlockSize, (block + 1) * BlockSize);
    if (rawTruncate(image, sizeOf(reader)) != 0)
        stop("length of an image");
    rawClose(reader);
    rawClose(image);
}

} // namespace WriteBack
