#include "storage/logpreparation.h"

#include "base/descriptor.h"
#include "format/logfiles.h"
#include "rows.h"
#include "storage/enginecalls.h"
#include "storage/lognaming.h"
#include "support/logcapture.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr std::uintmax_t LogBytes = 4UL * 1024 * 1024;

/** An environment with these lines in its DB_CONFIG, and log files that are as small as they can be. */
class LogPreparationTest : public testing::Test {
protected:
    LogPreparationTest() { EngineCalls::replace(); }

    void configure(const char* lines)
    {
        std::ofstream(env_.file("DB_CONFIG")) << "set_lg_max 4194304\n" << lines;
        env_.reopen();
    }

    /** Writes this many MiB to the log, and flushes it. */
    void write(int mebibytes)
    {
        for (int i = 0; i < mebibytes; ++i)
            env_.put("t", ++rows_, 1024UL * 1024);
        ASSERT_EQ(env_->log_flush(nullptr), 0);
    }

    struct Position {
        std::uint32_t file;
        std::uint32_t offset;
    };

    /** Where the next record is written. */
    Position position() const
    {
        DB_LOG_STAT* statistics = nullptr;
        EXPECT_EQ(env_->log_stat(&statistics, 0), 0);
        const Position next{statistics->st_cur_file, statistics->st_cur_offset};
        std::free(statistics);
        return next;
    }

    std::string log(std::uint32_t number) const { return env_.file(LogFiles::name(number)); }

    /** Whether a log file exists, with its full length and without any record. */
    bool isPrepared(std::uint32_t number) const
    {
        std::error_code missing;
        if (fs::file_size(log(number), missing) != LogBytes || missing)
            return false;
        std::ifstream file(log(number), std::ios::binary);
        std::string bytes(LogBytes, 'x');
        file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return bytes == std::string(LogBytes, '\0');
    }

    void expectAllRows()
    {
        for (int number = 1; number <= rows_; ++number) {
            const std::string key(reinterpret_cast<const char*>(&number), sizeof number);
            EXPECT_EQ(rowOf(env_.index("t"), nullptr, key), std::string(1024UL * 1024, 'x')) << number;
        }
    }

    static constexpr const char* Prepares = "log_set_config db_log_dsync off\n#quorva prepare_log_files on\n";

    TempEnv env_;
    int rows_ = 0;
};

TEST_F(LogPreparationTest, MakesTheNextFileAndBerkeleyDbTakesIt)
{
    LogCapture capture;
    configure(Prepares);
    write(2);
    ASSERT_TRUE(waitUntil([this] { return isPrepared(2); }));
    struct stat made {};
    ASSERT_EQ(::stat(log(2).c_str(), &made), 0);
    struct stat first {};
    ASSERT_EQ(::stat(log(1).c_str(), &first), 0);
    EXPECT_EQ(made.st_mode, first.st_mode);

    while (position().file == 1 || position().offset < LogBytes / 4)
        write(1);
    struct stat used {};
    ASSERT_EQ(::stat(log(2).c_str(), &used), 0);
    EXPECT_EQ(used.st_ino, made.st_ino);
    EXPECT_EQ(static_cast<std::uintmax_t>(used.st_size), LogBytes);
    EXPECT_FALSE(isPrepared(2));
    ASSERT_TRUE(waitUntil([this] { return isPrepared(position().file + 1); }));
    expectAllRows();
    EXPECT_EQ(capture.text().find("ERROR"), std::string::npos) << capture.text();
    EXPECT_EQ(capture.text().find("WARN"), std::string::npos) << capture.text();
}

TEST_F(LogPreparationTest, LeavesNothingWhenTheEnvironmentIsClosed)
{
    configure(Prepares);
    write(2);
    ASSERT_TRUE(waitUntil([this] { return isPrepared(2); }));
    env_.close();
    EXPECT_EQ(LogFiles::numbersIn(env_.path()), std::set<std::uint32_t>{1});
}

TEST_F(LogPreparationTest, OpensWhatAKilledServerHasLeft)
{
    configure(Prepares);
    write(2);
    ASSERT_TRUE(waitUntil([this] { return isPrepared(2); }));
    env_.close();
    std::ofstream(log(2)) << std::string(LogBytes, '\0');                   // named, and not begun
    std::ofstream(env_.file("__db.quorva.log")) << std::string(1000, '\0'); // half filled
    LogCapture capture;
    env_.reopen();
    EXPECT_EQ(LogFiles::numbersIn(env_.path()), std::set<std::uint32_t>{1});
    EXPECT_FALSE(fs::exists(env_.file("__db.quorva.log")));
    expectAllRows();
    write(4);
    expectAllRows();
    EXPECT_EQ(capture.text().find("ERROR"), std::string::npos) << capture.text();
}

struct Row {
    const char* name;
    const char* lines;
    int threads;
};

class PreparationSettings : public LogPreparationTest, public testing::WithParamInterface<Row> {
protected:
    static int threads()
    {
        return static_cast<int>(std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
    }
};

TEST_P(PreparationSettings, DecideWhetherThereIsAThreadForIt)
{
    configure("");
    const int usual = threads();
    configure(GetParam().lines);
    EXPECT_EQ(threads(), usual + GetParam().threads);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, PreparationSettings,
    testing::Values(Row{"Both", "log_set_config db_log_dsync off\n#quorva prepare_log_files on\n", 1},
                    Row{"LogOfTwoSteps", "log_set_config db_log_dsync off\n", 0},
                    Row{"SynchronousLog", "#quorva prepare_log_files on\n", 0},
                    Row{"Off", "log_set_config db_log_dsync off\n#quorva prepare_log_files off\n", 0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(LogNaming, HoldsBackSynchronisationsOnTheSameFileSystemAlone)
{
    TempDir directory;
    const Base::Descriptor here(::open(directory.path().c_str(), O_RDONLY | O_CLOEXEC));
    const Base::Descriptor elsewhere(::open("/proc", O_RDONLY | O_CLOEXEC));
    struct stat status {};
    ASSERT_EQ(::fstat(here.number(), &status), 0);
    LogNaming::awaitNames(here.number());

    std::atomic<bool> durable = false;
    std::thread waiting;
    {
        const LogNaming naming(status.st_dev);
        LogNaming::awaitNames(elsewhere.number());
        waiting = std::thread([&] {
            LogNaming::awaitNames(here.number());
            EXPECT_TRUE(durable);
        });
        durable = true;
    }
    waiting.join();
}

} // namespace
