#ifndef QUORVA_TESTS_STORAGE_LOGFLUSHERFIXTURE_H
#define QUORVA_TESTS_STORAGE_LOGFLUSHERFIXTURE_H

#include "storage/logflusher.h"

#include "rows.h"
#include "storage/bdbtxn.h"
#include "support/blockedcall.h"
#include "support/helddisk.h"
#include "support/logcapture.h"
#include "support/tempenv.h"
#include "support/threadcount.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include <sys/syscall.h>

/** An environment whose disk stalls when a test requests it. */
class LogFlusherTest : public testing::Test {
protected:
    LogFlusherTest()
    {
        HeldDisk::prepare(env_.path());
        env_.reopen();
        EXPECT_TRUE(waitUntil([] {
            return static_cast<std::size_t>(threadsIn(SYS_futex)) + initialThreadCount() == threadCount();
        })) << "as long as its threads run, they use the disk as well";
        index_ = env_.index("orders");
        other_ = env_.index("other");
        settle(written("settled"));
    }

    EnvironmentUse makeUse() { return {env_.get(), env_->uses(), nullptr}; }

    /** A use that has committed a row and has not waited for it. */
    EnvironmentUse written(const char* key, BDBIndex* index = nullptr)
    {
        BDBIndex* const file = index != nullptr ? index : index_;
        EnvironmentUse use = makeUse();
        BDBTxn txn;
        EXPECT_EQ(txn.beginWriting(TxnScope(&use), {&file, 1}), 0);
        EXPECT_EQ(putRow(file, &txn, key, "value"), 0);
        EXPECT_EQ(txn.commit(DB_TXN_SYNC), 0);
        EXPECT_TRUE(use.unflushed().hasWritten());
        return use;
    }

    /** A use that has read a row. */
    EnvironmentUse hasRead(const char* key, BDBIndex* index = nullptr)
    {
        EnvironmentUse use = makeUse();
        BDBTxn txn;
        EXPECT_EQ(txn.begin(TxnScope(&use), 0), 0);
        (void)rowOf(index != nullptr ? index : index_, &txn, key); // ignored: to have read it
        EXPECT_EQ(txn.commit(DB_TXN_SYNC), 0);
        EXPECT_FALSE(use.unflushed().hasWritten());
        return use;
    }

    /** The same for a read outside of a transaction. */
    EnvironmentUse hasReadAlone(const char* key, BDBIndex* index)
    {
        EnvironmentUse use = makeUse();
        Dbt keyDbt(const_cast<char*>(key), static_cast<u_int32_t>(std::strlen(key)));
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        (void)index->read(TxnScope(&use), &keyDbt, &data); // ignored: to have read it
        std::free(data.get_data());
        EXPECT_FALSE(use.unflushed().hasWritten());
        return use;
    }

    /** Passes a use to the flusher; its result is in answers() under this number once it was answered. */
    bool flush(EnvironmentUse use, int number)
    {
        int rc = -1;
        const auto answer = [this, number](int result) {
            const std::lock_guard lock(mutex_);
            answers_.emplace_back(number, result);
        };
        if (!env_->logFlusher().flush(std::move(use), answer, &rc))
            return false;
        answer(rc);
        return true;
    }

    using Answers = std::vector<std::pair<int, int>>;
    Answers answers()
    {
        const std::lock_guard lock(mutex_);
        return answers_;
    }
    bool hasAnswers(std::size_t count)
    {
        return waitUntil([&] { return answers().size() == count; });
    }

    /** Holds the disk in the flush of a request that is alone; the call ends after the release. */
    [[nodiscard]] std::unique_ptr<BlockedCall<bool>> holdAFlush()
    {
        disk_.hold(env_.path());
        auto call = std::make_unique<BlockedCall<bool>>([this] { return flush(written("held"), 0); });
        EXPECT_TRUE(disk_.holds());
        return call;
    }

    /** For a request that is alone. */
    void settle(EnvironmentUse use)
    {
        int rc = -1;
        EXPECT_TRUE(env_->logFlusher().flush(std::move(use), nullptr, &rc));
        EXPECT_EQ(rc, 0);
    }

    /** Without those of Berkeley DB itself, before it writes a page. */
    std::uint64_t flushes() const { return env_->activity().flushes; }

    HeldDiskHere disk_; // first: the environment has threads
    TempEnv env_;
    BDBIndex* index_ = nullptr;
    BDBIndex* other_ = nullptr;

private:
    std::mutex mutex_;
    Answers answers_; // guarded by mutex_
};

#endif
