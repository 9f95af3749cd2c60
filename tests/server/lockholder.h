#ifndef QUORVA_TESTS_SERVER_LOCKHOLDER_H
#define QUORVA_TESTS_SERVER_LOCKHOLDER_H

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

/** The two ways in which programs lock a file. They do not see each other. */
enum class LockKind { File, Record };

/** Tries to lock what `descriptor` is open on; false when somebody holds it in this way. */
[[nodiscard]] inline bool tryLock(int descriptor, LockKind kind)
{
    if (kind == LockKind::File)
        return flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(descriptor, F_OFD_SETLK, &whole) == 0;
}

/**
 * Somebody else who holds a lock file in one way, creating it when it is missing. Both kinds of lock belong to the open
 * file, so it does not matter that the holder lives in the test's process.
 */
class LockHolder {
public:
    LockHolder(const std::string& path, LockKind kind)
        : descriptor_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        EXPECT_GE(descriptor_, 0) << path << ": " << std::strerror(errno);
        EXPECT_TRUE(tryLock(descriptor_, kind)) << path << ": " << std::strerror(errno);
    }
    ~LockHolder() { die(); }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    /** Makes `text` the file's whole content. */
    void write(const std::string& text)
    {
        EXPECT_EQ(ftruncate(descriptor_, 0), 0);
        EXPECT_EQ(pwrite(descriptor_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    }

    /** Ends in good order: empties the file, then lets go. */
    void letGo()
    {
        write("");
        die();
    }

    /** Lets go and leaves the content, as a process does that is killed. */
    void die()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_;
};

/** True when nobody holds the file in either way. */
[[nodiscard]] inline bool isFree(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    const bool isFree = tryLock(descriptor, LockKind::File) && tryLock(descriptor, LockKind::Record);
    close(descriptor);
    return isFree;
}

/** True when somebody holds the file in this way. */
[[nodiscard]] inline bool isHeld(const std::string& path, LockKind kind)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_GE(descriptor, 0) << path << ": " << std::strerror(errno);
    const bool isHeld = !tryLock(descriptor, kind);
    close(descriptor);
    return isHeld;
}

#endif
