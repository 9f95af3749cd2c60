#include "storage/syncfailures.h"

#include "support/files.h"
#include "support/logcapture.h"
#include "support/tempdir.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr const char* Record = "/__dbq.quorva.unsynced";

class SyncFailuresTest : public testing::Test {
protected:
    static std::string makeFile(const std::string& path, const std::string& text)
    {
        std::ofstream(path) << text;
        fs::last_write_time(path, LongAgo);
        return path;
    }
    static bool isRewritten(const std::string& path) { return fs::last_write_time(path) != LongAgo; }

    static constexpr fs::file_time_type LongAgo{std::chrono::hours(1)};
    const TempDir directory_;
    const std::string home_ = directory_.makeDirectory("home");
    const std::string data_ = directory_.makeDirectory("data");
};

TEST_F(SyncFailuresTest, ConcernTheEnvironmentWithTheFile)
{
    const std::string similar = directory_.makeDirectory("home2");
    SyncFailures environment;
    SyncFailures other;
    environment.watch(home_, {data_});
    other.watch(similar, {});
    SyncFailures::note(fs::path(directory_.file("elsewhere")), EIO);
    EXPECT_FALSE(environment.any());
    SyncFailures::note(fs::path(data_ + "/sub/t_00.db"), EIO);
    EXPECT_TRUE(environment.any());
    EXPECT_FALSE(other.any());
    EXPECT_TRUE(fs::exists(home_ + Record));
    EXPECT_FALSE(fs::exists(data_ + Record));
    EXPECT_FALSE(fs::exists(similar + Record));
}

TEST_F(SyncFailuresTest, AreLoggedOnceForEachEnvironment)
{
    const LogCapture log;
    SyncFailures environment;
    environment.watch(home_, {});
    SyncFailures::note(fs::path(home_ + "/t_00.db"), EIO);
    SyncFailures::note(fs::path(home_ + "/t_01.db"), EIO);
    EXPECT_THAT(log.lines(),
                testing::ElementsAre(testing::EndsWith("sync of " + home_ + "/t_00.db failed rc 5 : nothing in " +
                                                       home_ + " is durable any more until it is opened again")));
}

TEST_F(SyncFailuresTest, WithoutARecordNothingIsWritten)
{
    const std::string file = makeFile(home_ + "/t", "text");
    SyncFailures environment;
    environment.watch(home_, {});
    EXPECT_EQ(environment.rewriteAfterEarlier(), 0);
    EXPECT_FALSE(isRewritten(file));
}

TEST_F(SyncFailuresTest, AfterAnEarlierOneAllFilesOfTheEnvironmentAreWrittenAgain)
{
    const std::string below = home_ + "/below";
    const std::string foreign = home_ + "/foreign";
    fs::create_directory(below);
    fs::create_directory(foreign);
    const std::string text = std::string(3 * 1024 * 1024, 'x') + "end"; // more than is read at a time
    const std::string files[] = {makeFile(home_ + "/log.0000000001", text), makeFile(below + "/t", "text"),
                                 makeFile(data_ + "/t_00.db", ""), makeFile(data_ + "/t_01.db", "other")};
    makeFile(foreign + "/log.0000000001", "");
    const std::string others[] = {makeFile(foreign + "/t", "text")};
    makeFile(home_ + Record, "");
    SyncFailures environment;
    environment.watch(home_, {data_});
    EXPECT_EQ(environment.rewriteAfterEarlier(), 0);
    EXPECT_FALSE(fs::exists(home_ + Record));
    EXPECT_EQ(readFile(files[0]), text);
    EXPECT_EQ(readFile(files[1]), "text");
    EXPECT_EQ(readFile(files[2]), "");
    EXPECT_EQ(readFile(files[3]), "other");
    EXPECT_TRUE(isRewritten(files[0]));
    EXPECT_TRUE(isRewritten(files[1]));
    EXPECT_TRUE(isRewritten(files[3]));
    EXPECT_FALSE(isRewritten(others[0]));
    EXPECT_FALSE(environment.any());
}

} // namespace
