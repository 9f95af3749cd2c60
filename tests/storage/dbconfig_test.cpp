#include "support/procfs.h"
#include "support/tablefixture.h"

#include <fstream>

#include <fcntl.h>

namespace {

/** A server that prints all statistics, and environments with a DB_CONFIG of their own. */
class DbConfig : public TableTest {
protected:
    DbConfig() : TableTest({.arguments = {"-s", "20"}}) {}

    /** A new directory with these lines in its DB_CONFIG. */
    std::string configured(const std::string& name, const std::string& lines) const
    {
        const std::string directory = makeDirectory(name);
        std::ofstream(directory + "/DB_CONFIG") << lines;
        return directory;
    }

    /** The value before a statistic of the environment that was opened first; empty when there is none yet. */
    std::string statistic(const std::string& name) const
    {
        for (const std::string& line : server_.logLines()) {
            if (line.ends_with('\t' + name))
                return line.substr(0, line.find('\t'));
        }
        return {};
    }

    /** The flags with which the server has opened a file; -1 when it is not open. */
    int openFlags(const std::string& path) const
    {
        for (const auto& [descriptor, file] : ProcFs::descriptors(server_.pid())) {
            if (file == path)
                return ProcFs::descriptorFlags(server_.pid(), descriptor);
        }
        return -1;
    }

    static std::string logFile(const std::string& directory) { return directory + "/log.0000000001"; }
};

constexpr const char* LastStatistic = "The number of times a sync is interrupted";

} // namespace

TEST_F(DbConfig, WithoutItTheServersOwnSettingsHold)
{
    createTable(tableName());
    ASSERT_TRUE(server_.waitForLog(LastStatistic));
    EXPECT_EQ(statistic("Total cache size"), "20MB 8KB"); // the library adds a quarter to a cache this small
    EXPECT_EQ(statistic("Current log file size"), "10Mb");
    EXPECT_EQ(openFlags(logFile(home())) & O_DSYNC, O_DSYNC) << "a write of the log is on disk when it returns";
}

TEST_F(DbConfig, SetsTheSizesOfCacheAndLog)
{
    const std::string directory =
        configured("configured", "set_cachesize 0 67108864 1\nset_lg_bsize 1048576\nset_lg_max 41943040\n");
    createTable(tableIn(directory));
    ASSERT_TRUE(server_.waitForLog(LastStatistic));
    EXPECT_EQ(statistic("Total cache size"), "80MB 8KB");
    EXPECT_EQ(statistic("Log record cache size"), "1MB");
    EXPECT_EQ(statistic("Current log file size"), "40Mb");
}

TEST_F(DbConfig, TurnsOffThatTheLogIsWrittenThroughAndCommitsAreStillOnDisk)
{
    const std::string directory = configured("configured", "log_set_config db_log_dsync off\n");
    createTable(tableIn(directory));
    EXPECT_EQ(openFlags(logFile(directory)) & (O_DSYNC | O_ACCMODE), O_RDWR);

    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("r")}, {"a", textValue("x")}};
    EXPECT_EQ(request("PutItem", {{"TableName", tableIn(directory)}, {"Item", item}}).value("__rc"), QVariant(200LL));
    restartServer();
    EXPECT_EQ(request("GetItem", {{"TableName", tableIn(directory)}, {"Key", itemKey("k", "r")}}),
              okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
}

TEST_F(DbConfig, HoldsForItsOwnDirectoryOnly)
{
    const std::string directory = configured("configured", "log_set_config db_log_dsync off\n");
    createTable(tableIn(directory));
    createTable(tableName());
    EXPECT_EQ(openFlags(logFile(directory)) & O_DSYNC, 0);
    EXPECT_EQ(openFlags(logFile(home())) & O_DSYNC, O_DSYNC);
}

TEST_F(DbConfig, ALineThatIsNotUnderstoodKeepsTheEnvironmentClosed)
{
    const std::string directory = configured("configured", "set_cashsize 0 67108864 1\n");
    const QVariantMap reply = request("CreateTable", {{"TableName", tableIn(directory)}, {"KeySchema", keySchema()}});
    EXPECT_EQ(reply, notFoundReply());
    EXPECT_THAT(takeComplaints(),
                testing::ElementsAre("[ERROR] bdb # BDB: BDB1585 unrecognized name-value pair: set_cashsize",
                                     "[CRIT] bdb # Failed to open env path: " + directory + " id env::" + directory +
                                         " rc 22"));
    createTable(tableName()); // others are not affected
}
