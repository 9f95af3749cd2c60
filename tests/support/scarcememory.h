#ifndef QUORVA_TESTS_SUPPORT_SCARCEMEMORY_H
#define QUORVA_TESTS_SUPPORT_SCARCEMEMORY_H

#include "support/tempdir.h"

#include <atomic>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

/** The memory of a program that runs with `environment()`: one allocation of its choice fails when a test requests it.
 */
class ScarceMemory {
public:
    ScarceMemory()
    {
        std::ofstream(file_, std::ios::binary) << std::string(sizeof(std::atomic<int>), '\0');
        const int descriptor = open(file_.c_str(), O_RDWR | O_CLOEXEC);
        left_ = static_cast<std::atomic<int>*>(
            mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0));
        close(descriptor);
    }
    ~ScarceMemory() { munmap(left_, sizeof(std::atomic<int>)); }
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;

    /** For a program that is started with nothing else in its environment. */
    std::vector<std::string> environment(const std::string& library) const
    {
        return {"LD_PRELOAD=" + library, "QUORVA_SCARCE_MEMORY=" + file_};
    }

    /** From here on, one allocation fails: the first if `number` is 1. */
    void failAllocation(int number) { *left_ = number; }
    /** Whether that has happened; if not, it will not any more. */
    bool hasFailed() { return left_->exchange(0) <= 0; }

private:
    const TempDir directory_;
    const std::string file_ = directory_.file("left");
    std::atomic<int>* left_; // allocations until one fails, with that; 0: there was one, or none is to fail
};

#endif
