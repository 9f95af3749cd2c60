#ifndef QUORVA_TESTS_SERVER_LOCKHOLDER_H
#define QUORVA_TESTS_SERVER_LOCKHOLDER_H

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

/** The two ways in which programs lock a file. They are independent of each other. */
enum class LockKind { File, Record };

/** Tries to lock the file of `descriptor`; false if somebody holds this kind of lock on it. */
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
 * Another holder of one kind of lock on a lock file, which is created if missing. Both kinds of lock belong to the open
 * file description, so it does not matter that the holder is in the test process.
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

    /** Replaces the file's content by `text`. */
    void write(const std::string& text)
    {
        EXPECT_EQ(ftruncate(descriptor_, 0), 0);
        EXPECT_EQ(pwrite(descriptor_, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    }

    /** Ends in an orderly way: empties the file, then releases it. */
    void letGo()
    {
        write("");
        die();
    }

    /** Releases the file and leaves its content, as a killed process does. */
    void die()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_;
};

/** A child process that takes a lock and holds it until it is killed. */
class LockingProcess {
public:
    /** Runs `lock` in the child process; fails the test unless that returns true. */
    template <typename Lock> explicit LockingProcess(Lock lock)
    {
        int ready[2];
        EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
        id_ = fork();
        EXPECT_GE(id_, 0);
        if (id_ == 0) {
            const char answer = lock() ? 'y' : 'n';
            (void)!write(ready[1], &answer, 1);
            pause();
            _exit(0);
        }
        char answer = '\0';
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        close(ready[0]);
        close(ready[1]);
    }
    ~LockingProcess() { kill(); }
    LockingProcess(const LockingProcess&) = delete;
    LockingProcess& operator=(const LockingProcess&) = delete;

    void kill()
    {
        if (id_ <= 0)
            return;
        ::kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
        id_ = -1;
    }

private:
    pid_t id_;
};

/** True if nobody holds either kind of lock on the file. */
[[nodiscard]] inline bool isFree(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    const bool isFree = tryLock(descriptor, LockKind::File) && tryLock(descriptor, LockKind::Record);
    close(descriptor);
    return isFree;
}

/** True if somebody holds this kind of lock on the file. */
[[nodiscard]] inline bool isHeld(const std::string& path, LockKind kind)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_GE(descriptor, 0) << path << ": " << std::strerror(errno);
    const bool isHeld = !tryLock(descriptor, kind);
    close(descriptor);
    return isHeld;
}

#endif
