#ifndef QUORVA_TESTS_HOSTILE_SMALLDISK_H
#define QUORVA_TESTS_HOSTILE_SMALLDISK_H

#include "support/procfs.h"
#include "support/programrun.h"
#include "support/tempdir.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

/** A disk in memory that only the processes started through its wrapper() see. */
class SmallDisk {
public:
    explicit SmallDisk(const std::string& options) : point_(directory_.makeDirectory("disk"))
    {
        // The holder keeps the disk mounted until its standard input ends, at the latest with this process.
        holder_ = popen(("exec unshare --user --map-root-user --mount sh -c 'mount -t tmpfs -o " + options +
                         " none \"" + point_ + "\" && echo $$ >\"" + directory_.file("holder") + "\" && exec cat'")
                            .c_str(),
                        "w");
        ready_ = waitUntil([this] { return std::filesystem::exists(directory_.file("holder")) && !holder().empty(); },
                           std::chrono::seconds(10));
    }
    ~SmallDisk()
    {
        if (holder_ != nullptr)
            pclose(holder_);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    /** False where the system does not let an ordinary user mount a disk. */
    bool isReady() const { return ready_; }
    const std::string& point() const { return point_; }

    /** The prefix for the command line of a program that should see the disk. */
    std::vector<std::string> wrapper() const
    {
        return {"nsenter", "--preserve-credentials", "--user", "--mount", "--target", holder(), "--wdns=/", "--"};
    }

    void remount(const std::string& options) const
    {
        std::vector<std::string> words = wrapper();
        words.insert(words.end(), {"mount", "-o", "remount," + options, point_});
        const ProgramRun run = runProgram("/usr/bin/env", words);
        EXPECT_EQ(run.status, 0) << run.error;
    }

private:
    std::string holder() const
    {
        const std::string text = ProcFs::read(directory_.file("holder"));
        return text.substr(0, text.find('\n'));
    }

    TempDir directory_;
    const std::string point_;
    FILE* holder_ = nullptr;
    bool ready_ = false;
};

#endif
