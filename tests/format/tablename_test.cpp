#include "format/tablename.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace std::string_literals;

constexpr const char* TooLong = "the last component of the table's name is longer than 249 bytes";
constexpr const char* Empty = "the table's name is empty";
constexpr const char* ZeroByte = "the table's name holds a zero byte";
constexpr const char* Absolute = "the table's name is an absolute path";
constexpr const char* EmptyComponent = "the table's name has an empty component (\"//\", or \"/\" at its end)";
constexpr const char* Dots = "the table's name has a component \".\" or \"..\"";
constexpr const char* BerkeleyDb =
    "DB_CONFIG, \"log.\" with digits, and names that begin with \"__db\" belong to Berkeley DB";
constexpr const char* Backups = "BackupInProgress.tmp, BackupFiles.list (also with .tmp or .new), BackupLog.hold (also "
                                "with .new) and __log__ belong to backups";
constexpr const char* DataFiles = "names that end like \"_3f.db\" belong to the data files of tables";

TEST(TableNames, ABarOrElseTheLastSeparatorDividesDirectoryAndFilePart)
{
    struct Case {
        std::string_view tableName;
        std::string_view directory;
        std::string_view file;
    };
    const Case cases[] = {
        {R"(D:\store\env1|orders)", R"(D:\store\env1)", "orders"},
        {"/store/env1|orders", "/store/env1", "orders"},
        {"a|b|c", "a|b", "c"},
        {"a||c", "a|", "c"},
        {"dir|", "dir", ""},
        {"|t", "", "t"},
        {"|", "", ""},
        {"", "", ""},
        {"dir|sub/t", "dir", "sub/t"},
        {R"(dir|sub\t)", "dir", R"(sub\t)"},
        {"orders", "orders", "orders"},
        {"/store/orders", "/store/orders", "orders"},
        {R"(D:\store\orders)", R"(D:\store\orders)", "orders"},
        {R"(/store\mixed/orders)", R"(/store\mixed/orders)", "orders"},
        {R"(/store/mixed\orders)", R"(/store/mixed\orders)", "orders"},
        {"/store/", "/store/", ""},
        {R"(store\)", R"(store\)", ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(TableNames::directory(c.tableName), c.directory) << c.tableName;
        EXPECT_EQ(TableNames::filePart(c.tableName), c.file) << c.tableName;
    }
}

TEST(TableNames, PartitionSuffixHasTwoLowerCaseDigits)
{
    EXPECT_EQ(TableNames::partitionSuffix(0), "_00.db");
    EXPECT_EQ(TableNames::partitionSuffix(0x0a), "_0a.db");
    EXPECT_EQ(TableNames::partitionSuffix(0x3f), "_3f.db");
    EXPECT_EQ(TableNames::partitionSuffix(0xff), "_ff.db");
}

TEST(TableNames, DataFilesBelongToTheirTable)
{
    for (const std::string_view table : {"t", "sub/t", "log.events", "t_3f", "a_00.dbx", ""}) {
        for (unsigned partition = 0; partition < 256; ++partition)
            EXPECT_EQ(TableNames::ofDataFile(std::string(table) + TableNames::partitionSuffix(partition)), table);
    }
    for (const std::string_view file :
         {"orders", "", ".db", "f.db", "3f.db", "t_3F.db", "t_3g.db", "t-3f.db", "t_3f.dbx"})
        EXPECT_EQ(TableNames::ofDataFile(file), file);
    EXPECT_EQ(TableNames::ofDataFile("t_3f.db_00.db"), "t_3f.db") << "one ending goes";
}

TEST(TableNames, OrdinaryNamesAndPathsBelowTheDirectoryAreTaken)
{
    for (const std::string& name : {
             "t"s,
             "orders"s,
             "sub/t"s,
             "a/b/c/t"s,
             " "s,
             "na\xc3\xafve"s,
             "\xff"s,
             "t|u"s, // no TableName leads to it
             R"(sub\t)"s,
             R"(..\t)"s,
             R"(\t)"s,
             ".t"s,
             "..t"s,
             "..."s,
             "t."s,
             "a/.../t"s,
             "log"s,
             "log."s,
             "log.events"s,
             "log.0000000001x"s,
             "log.0000000001.del"s,
             "xlog.0000000001"s,
             "Log.0000000001"s,
             "_db"s,
             "__dB"s,
             "x__db"s,
             "__log"s,
             "__log__x"s,
             "x__log__"s,
             "db_config"s,
             "DB_CONFIG2"s,
             std::string(255, 'd') + '/' + std::string(249, 't'),
             "xDB_CONFIG"s,
             "BackupInProgress"s,
             "BackupInProgress.tmp2"s,
             "BackupFiles.lists"s,
             "BackupFiles.list.tmp2"s,
             "3f.db"s,
             "t3f.db"s,
             "t_3F.db"s,
             "t_3g.db"s,
             "t_3f.dbx"s,
             "t_03f.db"s,
             "t_3f_db"s,
             "t_3f.DB"s,
             std::string(249, 'x'),
         }) {
        EXPECT_STREQ(TableNames::refusal(name), nullptr) << name;
        EXPECT_STREQ(TableNames::fileRefusal(name, TableNames::MetaSubDatabase), nullptr) << name;
        for (unsigned partition = 0; partition < 256; ++partition)
            EXPECT_STREQ(
                TableNames::fileRefusal(name + TableNames::partitionSuffix(partition), TableNames::DataSubDatabase),
                nullptr)
                << name << ' ' << partition;
    }
}

TEST(TableNames, NamesThatHarmOthersAreRefusedForTheirSchemaAndTheirDataFiles)
{
    struct Case {
        std::string file;
        const char* reason;
    };
    const Case cases[] = {
        {"", Empty},
        {"t\0"s, ZeroByte},
        {"\0"s, ZeroByte},
        {"t\0/../../t"s, ZeroByte},
        {"/", Absolute},
        {"/t", Absolute},
        {"/tmp/t", Absolute},
        {"//t", Absolute},
        {"sub/", EmptyComponent},
        {"sub//", EmptyComponent},
        {"sub//t", EmptyComponent},
        {"a/b//c", EmptyComponent},
        {".", Dots},
        {"..", Dots},
        {"./t", Dots},
        {"../t", Dots},
        {"../other/t", Dots},
        {"sub/./t", Dots},
        {"sub/../t", Dots},
        {"sub/..", Dots},
        {"sub/.", Dots},
        {"sub/../../other/t", Dots},
        {"DB_CONFIG", BerkeleyDb},
        {"sub/DB_CONFIG", BerkeleyDb},
        {"DB_CONFIG/t", BerkeleyDb},
        {"log.0000000001", BerkeleyDb},
        {"log.0000000050", BerkeleyDb},
        {"log.9999999999", BerkeleyDb},
        {"log.99999999999", BerkeleyDb},
        {"log.5", BerkeleyDb},
        {"sub/log.0000000050", BerkeleyDb},
        {"log.0000000050/t", BerkeleyDb},
        {"__db", BerkeleyDb},
        {"__db.001", BerkeleyDb},
        {"__dbt", BerkeleyDb},
        {"sub/__db.register", BerkeleyDb},
        {"__dbdir/t", BerkeleyDb},
        {"BackupInProgress.tmp", Backups},
        {"sub/BackupInProgress.tmp", Backups},
        {"BackupInProgress.tmp/t", Backups},
        {"BackupFiles.list", Backups},
        {"BackupFiles.list.tmp", Backups},
        {"__log__", Backups},
        {"__log__/t", Backups},
        {"sub/__log__/t", Backups},
        {std::string(250, 't'), TooLong},
        {"sub/" + std::string(250, 't'), TooLong},
        {"_00.db", DataFiles},
        {"t_3f.db", DataFiles},
        {"t_ff.db", DataFiles},
        {"sub/t_3f.db", DataFiles},
        {"t_3f.db/x", DataFiles},
        {"t_3f.db_3f.db", DataFiles},
    };
    for (const Case& c : cases) {
        EXPECT_STREQ(TableNames::refusal(c.file), c.reason) << c.file;
        EXPECT_STREQ(TableNames::fileRefusal(c.file, TableNames::MetaSubDatabase), c.reason) << c.file;
        for (const unsigned partition : {0x00U, 0x3fU, 0xffU})
            EXPECT_STREQ(
                TableNames::fileRefusal(c.file + TableNames::partitionSuffix(partition), TableNames::DataSubDatabase),
                c.reason)
                << c.file << ' ' << partition;
    }
}

} // namespace
