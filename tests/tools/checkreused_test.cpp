/* A check of a directory whose log has the same transaction number twice: before a crash and after the recovery. */
#include "format/logrecords.h"
#include "toolfixture.h"

#include <db_cxx.h>

#include <filesystem>
#include <set>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr u_int32_t Transactional =
    DB_CREATE | DB_PRIVATE | DB_THREAD | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN;

class CheckOfReusedNumbers : public ToolTest {
protected:
    static constexpr const char* Undone = "undone_00.db";

    /** Exits in the middle of a transaction that creates a file, with its records on disk. */
    static void createAndDie(const std::string& home)
    {
        DbEnv env(DB_CXX_NO_EXCEPTIONS);
        if (env.open(home.c_str(), Transactional | DB_RECOVER, 0) != 0)
            ::_exit(1);
        DbTxn* txn = nullptr;
        Db file(&env, DB_CXX_NO_EXCEPTIONS);
        const bool written = env.txn_begin(nullptr, &txn, 0) == 0 &&
                             file.open(txn, Undone, "data", DB_BTREE, DB_CREATE | DB_THREAD, 0) == 0 &&
                             env.log_flush(nullptr) == 0;
        ::_exit(written ? 0 : 1);
    }

    /** Whether the log has the creation of the file in a transaction whose number commits later. */
    static bool hasCommitOfItsNumber(const std::string& home)
    {
        DbEnv env(DB_CXX_NO_EXCEPTIONS);
        DbLogc* log = nullptr;
        EXPECT_EQ(env.open(home.c_str(), DB_CREATE | DB_PRIVATE | DB_INIT_LOG, 0), 0);
        EXPECT_EQ(env.log_cursor(&log, 0), 0);
        std::set<std::uint32_t> creators;
        bool committed = false;
        DbLsn position;
        Dbt record;
        while (log->get(&position, &record, DB_NEXT) == 0) {
            const std::string_view bytes(static_cast<const char*>(record.get_data()), record.get_size());
            const auto event = LogRecords::fileEvent(bytes);
            if (event && event->kind == LogRecords::FileEvent::Used && event->name == Undone)
                creators.insert(event->transaction);
            committed =
                committed || (LogRecords::commitTime(bytes) && creators.contains(LogRecords::transactionOf(bytes)));
        }
        EXPECT_EQ(log->close(0), 0);
        EXPECT_EQ(env.close(0), 0);
        return committed;
    }
};

} // namespace

TEST_F(CheckOfReusedNumbers, DoesNotMissAFileWhoseCreationWasUndone)
{
    expectOutput({"put", table(), "h=S:a", "r=S:1"}, "");
    expectOutput({"delete-table", table()}, "closed " + home() + "; its files are still there\n");
    const pid_t child = ::fork();
    if (child == 0)
        createAndDie(home());
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    ASSERT_TRUE(std::filesystem::exists(home() + '/' + Undone));

    for (int i = 0; i < 20; ++i) // the server recovers, and begins to count anew
        expectOutput({"put", table(), "h=S:a", "r=S:" + std::to_string(i)}, "");
    killServer();
    EXPECT_FALSE(std::filesystem::exists(home() + '/' + Undone));
    std::filesystem::copy(home(), pathOf("copy"));
    ASSERT_TRUE(hasCommitOfItsNumber(pathOf("copy")));

    const ProgramRun run = ::quorvactl({"check", home()});
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_THAT(run.output, testing::HasSubstr("t: 20 items in 2 files\n")) << run.error;
}
