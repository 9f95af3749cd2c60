#ifndef QUORVA_TESTS_SUPPORT_HELDDISK_H
#define QUORVA_TESTS_SUPPORT_HELDDISK_H

#include "support/tempdir.h"
#include "support/waituntil.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

/**
 * The disk under Berkeley DB's log, for a program that runs with `environment()`, or, as HeldDiskHere, of this process
 * if helddisk.cpp is a part of it. One at a time.
 *
 * Only an environment in which the log is written and synced in two steps blocks just in the sync: commits continue
 * meanwhile, as on a slow disk. prepare() makes it one.
 */
class HeldDisk {
public:
    ~HeldDisk()
    {
        makeRoom();
        release();
    }
    HeldDisk() = default;
    HeldDisk(const HeldDisk&) = delete;
    HeldDisk& operator=(const HeldDisk&) = delete;

    /** Prepares an environment's directory, before it is first opened. */
    static void prepare(const std::string& home)
    {
        std::ofstream(home + "/DB_CONFIG") << "log_set_config db_log_dsync off\n";
    }

    std::map<std::string, std::string> environment(const char* library) const
    {
        return {{"LD_PRELOAD", library}, {"QUORVA_HELD_DISK", directory_.path()}};
    }

    /** The directory of its control files. */
    std::string path() const { return directory_.path(); }

    /** From here on, each flush of the log in a directory waits before it has any effect. */
    void hold(const std::string& home) const { write("hold", home); }
    /** True as soon as a flush waits. */
    [[nodiscard]] bool holds() const
    {
        return waitUntil([this] { return exists("held"); });
    }
    void release() const
    {
        std::filesystem::remove(directory_.file("hold"));
        std::filesystem::remove(directory_.file("hold-writes"));
    }

    /**
     * From here on, each write to the log in a directory waits, and with it everything that needs Berkeley DB's log,
     * even in an environment that was not prepared.
     */
    void holdWrites(const std::string& home) const { write("hold-writes", home); }

    /** From here on, the log in a directory accepts no bytes. */
    void fill(const std::string& home) const { write("full", home); }
    void makeRoom() const { std::filesystem::remove(directory_.file("full")); }

    /** Whether a flush waits at the moment. */
    bool exists(const char* name) const { return std::filesystem::exists(directory_.file(name)); }

private:
    /** Atomically: another process reads it as soon as it exists. */
    void write(const char* name, const std::string& text) const
    {
        const std::string fresh = directory_.file("fresh");
        std::ofstream(fresh) << text;
        std::filesystem::rename(fresh, directory_.file(name));
    }

    const TempDir directory_;
};

/** A base class of fixtures, for a disk that must exist before the server. */
struct WithHeldDisk {
    HeldDisk disk_;
};

/** The disk of this process. Construct it before other threads read the environment variables. */
class HeldDiskHere : public HeldDisk {
public:
    HeldDiskHere() { ::setenv("QUORVA_HELD_DISK", path().c_str(), 1); }
};

#endif
