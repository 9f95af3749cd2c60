#ifndef QUORVA_TESTS_SERVER_LOCKFILEFIXTURE_H
#define QUORVA_TESTS_SERVER_LOCKFILEFIXTURE_H

#include "lockholder.h"
#include "server/lockfile.h"
#include "support/procfs.h"
#include "support/tempdir.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

inline void writeFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

/** Runs `work` on a thread and detects when it has started to wait. */
class Waiter {
public:
    template <typename Work> explicit Waiter(Work work)
    {
        thread_ = std::thread([this, work = std::move(work)] {
            id_ = gettid();
            work();
        });
    }
    ~Waiter() { join(); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    /** Once the thread has gone to sleep several more times, it has done everything that it can do without waiting. */
    bool hasWaited()
    {
        if (!waitUntil([this] { return id_ != 0; }))
            return false;
        const long before = ProcFs::sleeps(id_);
        return waitUntil([&] { return ProcFs::sleeps(id_) >= before + 3; });
    }
    void join()
    {
        if (thread_.joinable())
            thread_.join();
    }

private:
    std::atomic<pid_t> id_ = 0;
    std::thread thread_;
};

class LockFileTest : public testing::Test {
protected:
    QByteArray name() const { return QByteArray::fromStdString(path_); }

    const TempDir directory_;
    const std::string path_ = directory_.file("lock");
};

class LockFileOfEitherKind : public LockFileTest, public testing::WithParamInterface<LockKind> {};

#endif
