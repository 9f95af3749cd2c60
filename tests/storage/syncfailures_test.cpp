#include "storage/syncfailures.h"

#include "base/descriptor.h"
#include "format/databasepage.h"
#include "support/files.h"
#include "support/logcapture.h"
#include "support/tempdir.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>

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
    /** The start of a database file that was not written in an environment. */
    static std::string databaseText()
    {
        DatabasePage::Start start{};
        start.magic = 0x053162; // of a B-tree
        return {reinterpret_cast<const char*>(&start), sizeof start};
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
    SyncFailures::note(fs::path(data_ + "/sub/t_00.db"), EIO);
    EXPECT_TRUE(environment.any());
    EXPECT_FALSE(other.any());
    EXPECT_TRUE(fs::exists(home_ + Record));
    EXPECT_FALSE(fs::exists(data_ + Record));
    EXPECT_FALSE(fs::exists(similar + Record));
}

TEST_F(SyncFailuresTest, ConcernTheInnerOfTwoEnvironments)
{
    const std::string inner = directory_.makeDirectory("home/inner");
    SyncFailures first;
    SyncFailures environment;
    SyncFailures last;
    first.watch(inner, {});
    environment.watch(home_, {});
    SyncFailures::note(fs::path(inner + "/t_00.db"), EIO);
    EXPECT_TRUE(first.any());
    EXPECT_FALSE(environment.any());
    EXPECT_FALSE(fs::exists(home_ + Record));
    SyncFailures::note(fs::path(home_ + "/t_00.db"), EIO);
    EXPECT_TRUE(environment.any());
}

/** A file that is reached through a link, or of a directory that has been moved. */
TEST_F(SyncFailuresTest, OfAFileElsewhereMayConcernEveryEnvironment)
{
    const std::string similar = directory_.makeDirectory("home2");
    SyncFailures environment;
    SyncFailures other;
    environment.watch(home_, {data_});
    other.watch(similar, {});
    SyncFailures::note(fs::path(directory_.file("elsewhere")), EIO);
    EXPECT_TRUE(environment.any());
    EXPECT_TRUE(other.any());
    EXPECT_TRUE(fs::exists(home_ + Record));
    EXPECT_TRUE(fs::exists(similar + Record));
}

TEST_F(SyncFailuresTest, LetNoLaterSyncOfTheEnvironmentSucceed)
{
    const std::string similar = directory_.makeDirectory("home2");
    makeFile(home_ + "/log.0000000001", "");
    makeFile(similar + "/log.0000000001", "");
    const Base::Descriptor file(::open((home_ + "/log.0000000001").c_str(), O_RDWR | O_CLOEXEC));
    const Base::Descriptor foreign(::open((similar + "/log.0000000001").c_str(), O_RDWR | O_CLOEXEC));
    SyncFailures other;
    other.watch(similar, {});
    {
        SyncFailures environment;
        environment.watch(home_, {});
        EXPECT_EQ(SyncFailures::earlier(file.number()), 0);
        SyncFailures::note(fs::path(home_ + "/t_00.db"), EIO);
        EXPECT_EQ(SyncFailures::earlier(file.number()), EIO);
        EXPECT_EQ(SyncFailures::earlier(foreign.number()), 0);
    }
    SyncFailures again;
    again.watch(home_, {});
    EXPECT_EQ(SyncFailures::earlier(file.number()), 0);
}

TEST_F(SyncFailuresTest, AreRecordedWithoutAFreeDescriptor)
{
    SyncFailures environment;
    environment.watch(home_, {});
    struct rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    struct rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    SyncFailures::note(fs::path(home_ + "/t_00.db"), EIO);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(environment.any());
    EXPECT_TRUE(fs::exists(home_ + Record));
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
    EXPECT_EQ(environment.rewriteAfterEarlier(home_), 0);
    EXPECT_FALSE(isRewritten(file));
}

TEST_F(SyncFailuresTest, AfterAnEarlierOneAllFilesOfTheEnvironmentAreWrittenAgain)
{
    std::ofstream(home_ + "/DB_CONFIG") << "set_data_dir " << data_ << "\nset_data_dir " << home_ << '\n';
    fs::create_directory(home_ + "/below");
    const std::string database = databaseText();
    const std::string elsewhere = directory_.makeDirectory("elsewhere");
    fs::create_directory_symlink(elsewhere, home_ + "/link");
    const std::map<std::string, std::string> files{
        {home_ + "/log.0000000001", std::string(3 * 1024 * 1024, 'x') + "end"}, // more than is read at a time
        {home_ + "/below/t", database},
        {home_ + "/__db.00000001.1234", database}, // is being removed
        {data_ + "/t_00.db", database + "more"},
        {elsewhere + "/t_01.db", database}};
    for (const auto& [path, text] : files)
        makeFile(path, text);
    makeFile(home_ + Record, "");
    SyncFailures environment;
    environment.watch(home_, {data_});
    EXPECT_EQ(environment.rewriteAfterEarlier(home_), 0);
    EXPECT_FALSE(fs::exists(home_ + Record));
    for (const auto& [path, text] : files) {
        EXPECT_TRUE(isRewritten(path)) << path;
        EXPECT_EQ(readFile(path), text) << path;
    }
    EXPECT_FALSE(environment.any());
}

/** Others may write to them meanwhile. */
TEST_F(SyncFailuresTest, FilesOfOthersAreNotWritten)
{
    fs::create_directory(home_ + "/foreign");
    makeFile(home_ + "/foreign/log.0000000001", "");
    const std::string files[] = {makeFile(home_ + "/foreign/t", databaseText()), makeFile(home_ + "/notes", "text"),
                                 makeFile(directory_.file("notes"), "text")};
    fs::create_symlink(files[2], home_ + "/link");
    makeFile(home_ + Record, "");
    SyncFailures environment;
    environment.watch(home_, {});
    EXPECT_EQ(environment.rewriteAfterEarlier(home_), 0);
    for (const std::string& file : files)
        EXPECT_FALSE(isRewritten(file)) << file;
}

TEST_F(SyncFailuresTest, ARecordThatCannotBeRemovedIsReported)
{
    const LogCapture log;
    fs::create_directory(home_ + Record);
    makeFile(home_ + Record + "/file", "");
    SyncFailures environment;
    environment.watch(home_, {});
    EXPECT_EQ(environment.rewriteAfterEarlier(home_), ENOTEMPTY);
    EXPECT_THAT(log.lines(),
                testing::Contains(testing::EndsWith(home_ + Record + " cannot be removed : Directory not empty")));
}

} // namespace
