#include "recordopsfixture.h"

#include <array>
#include <cstdio>

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool MemoryCanBeLimited = false; // it would limit the sanitizers' own memory
#else
constexpr bool MemoryCanBeLimited = true;
#endif

constexpr std::size_t BlockBytes = 0x80000;

/** During its lifetime, blocks of BlockBytes cannot be allocated, while small ones can. */
class MemoryShortage {
public:
    MemoryShortage()
    {
        EXPECT_EQ(getrlimit(RLIMIT_AS, &before_), 0);
        rlimit limit = before_;
        limit.rlim_cur = addressSpace();
        EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
        // Uses up the freed memory that could still be allocated.
        while (count_ < blocks_.size() && (blocks_[count_] = std::malloc(BlockBytes)) != nullptr)
            ++count_;
        EXPECT_LT(count_, blocks_.size());
    }
    ~MemoryShortage()
    {
        EXPECT_EQ(setrlimit(RLIMIT_AS, &before_), 0);
        while (count_ > 0)
            std::free(blocks_[--count_]);
    }
    MemoryShortage(const MemoryShortage&) = delete;
    MemoryShortage& operator=(const MemoryShortage&) = delete;

private:
    static rlim_t addressSpace()
    {
        unsigned long pages = 0;
        std::FILE* statm = std::fopen("/proc/self/statm", "re");
        EXPECT_NE(statm, nullptr);
        if (statm != nullptr) {
            EXPECT_EQ(std::fscanf(statm, "%lu", &pages), 1);
            (void)std::fclose(statm);
        }
        return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    }

    rlimit before_{};
    std::array<void*, 10000> blocks_{};
    std::size_t count_ = 0;
};

class RecordOpsWithoutMemory : public RecordOps {
protected:
    void SetUp() override
    {
        if (!MemoryCanBeLimited)
            GTEST_SKIP() << "memory cannot be limited in this build";
        ASSERT_NO_FATAL_FAILURE(settle()); // as a checkpoint that gets no memory ends the process
    }

    /** An operation that runs out of memory must fail with these lines and change nothing. */
    template <typename Operation> void expectFailure(const Lines& lines, Operation operation)
    {
        const RawRecords records = rawRecords(db_);
        const LogCapture log;
        int rc = -1;
        {
            const MemoryShortage shortage;
            rc = operation();
        }
        EXPECT_EQ(rc, StatusInternalError);
        EXPECT_EQ(ownLines(log), lines);
        EXPECT_EQ(item_, before_);
        EXPECT_EQ(activeTransactions(), 0u);
        EXPECT_EQ(rawRecords(db_), records);
    }

    const QVariantMap before_ = json(R"({"before":{"S":"call"}})");
    QVariantMap item_ = before_;
    const QVariantMap updates_ = json(R"({"a":{"Action":"DELETE"}})");
    const QByteArray longKey_ = QByteArray(BlockBytes, 'k');
    const Lines crit_{"[CRIT] bdbrequest # malloc failed"};
    const Lines error_{"[ERROR] bdbrequest # malloc failed"};
};

TEST_F(RecordOpsWithoutMemory, AKeyBufferThatCannotBeAllocatedIsAnInternalError)
{
    expectFailure(crit_, [&] { return readItem(env(), db_, longKey_, &item_); });
    expectFailure(error_, [&] { return writeItem(env(), db_, longKey_, &item_, nullptr, false); });
    expectFailure(crit_, [&] { return Records::deleteDb(env(), db_, longKey_, nullptr, nullptr); });
    expectFailure(crit_, [&] { return Records::updateDb(env(), db_, longKey_, updates_, nullptr, nullptr, &item_); });
}

TEST_F(RecordOpsWithoutMemory, ADataBufferThatCannotGrowIsAnInternalError)
{
    store(textOfSize(5000));
    expectFailure(crit_, [&] { return readItem(env(), db_, key_, &item_); });
    expectFailure(error_, [&] { return writeItem(env(), db_, key_, &item_, nullptr, true); });
    expectFailure(crit_, [&] { return Records::deleteDb(env(), db_, key_, nullptr, &item_); });
    expectFailure(crit_, [&] { return Records::updateDb(env(), db_, key_, updates_, nullptr, nullptr, &item_); });
}

} // namespace
