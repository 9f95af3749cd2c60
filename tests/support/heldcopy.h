#ifndef QUORVA_TESTS_SUPPORT_HELDCOPY_H
#define QUORVA_TESTS_SUPPORT_HELDCOPY_H

#include "support/backupdirectory.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/**
 * A named pipe in place of the copy's first log file: a full backup to that target blocks when it gets to the log,
 * until this is released; then it fails with ESPIPE, as a pipe has no offsets to write to.
 */
class HeldCopy {
public:
    explicit HeldCopy(const std::string& target) : target_(target), path_(target + '/' + logName(1))
    {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
    }
    ~HeldCopy()
    {
        if (reader_ >= 0)
            close(reader_);
    }
    HeldCopy(const HeldCopy&) = delete;
    HeldCopy& operator=(const HeldCopy&) = delete;

    /** True once the copy has started; it blocks at the pipe. */
    [[nodiscard]] bool waitUntilHeld() const
    {
        return waitUntil([this] { return std::filesystem::exists(target_ + "/BackupFiles.list.tmp"); });
    }

    /** Lets the copy continue, and fail. */
    void release() { reader_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); }

private:
    const std::string target_;
    const std::string path_;
    int reader_ = -1;
};

#endif
