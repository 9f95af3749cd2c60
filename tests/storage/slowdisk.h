#ifndef QUORVA_TESTS_STORAGE_SLOWDISK_H
#define QUORVA_TESTS_STORAGE_SLOWDISK_H

#include <functional>
#include <string>

/** Calls a function whenever something in a directory is synced, in the thread that waits for the disk. */
class SlowDisk {
public:
    SlowDisk(const std::string& directory, std::function<void()> call);
    ~SlowDisk();
    SlowDisk(const SlowDisk&) = delete;
    SlowDisk& operator=(const SlowDisk&) = delete;

    /** What was synced last in the directory of the latest object. */
    static std::string lastSynced();
};

#endif
