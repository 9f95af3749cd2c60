#include "recordopsfixture.h"

#include <array>
#include <cstdio>

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool MemoryCanBeLimited = false; // the sanitizers' own memory would be
#else
constexpr bool MemoryCanBeLimited = true;
#endif

constexpr std::size_t BlockBytes = 0x80000;

/** While it lives, blocks of BlockBytes cannot be allocated; small ones can. */
class MemoryShortage {
public:
    MemoryShortage()
    {
        EXPECT_EQ(getrlimit(RLIMIT_AS, &before_), 0);
        rlimit limit = before_;
        limit.rlim_cur = addressSpace();
        EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
        // What was reserved and freed before can still be handed out: take it.
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
        ASSERT_NO_FATAL_FAILURE(settle()); // a checkpoint without memory ends the process
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
    const auto check = [&](const Lines& lines, auto operation) {
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
    };
    check(crit_, [&] { return readItem(env(), db_, longKey_, &item_); });
    check(error_, [&] { return writeItem(env(), db_, longKey_, &item_, nullptr, false); });
    check(crit_, [&] { return Records::deleteDb(env(), db_, longKey_, nullptr, nullptr); });
    check(crit_, [&] { return Records::updateDb(env(), db_, longKey_, updates_, nullptr, nullptr, &item_); });
    EXPECT_EQ(rawRecords(db_), RawRecords());
}

TEST_F(RecordOpsWithoutMemory, ADataBufferThatCannotGrowIsAnInternalError)
{
    const QByteArray text = textOfSize(5000);
    store(text);
    const auto check = [&](const Lines& lines, auto operation) {
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
        EXPECT_EQ(stored(), text);
    };
    check(crit_, [&] { return readItem(env(), db_, key_, &item_); });
    check(error_, [&] { return writeItem(env(), db_, key_, &item_, nullptr, true); });
    check(crit_, [&] { return Records::deleteDb(env(), db_, key_, nullptr, &item_); });
    check(crit_, [&] { return Records::updateDb(env(), db_, key_, updates_, nullptr, nullptr, &item_); });
}

} // namespace
