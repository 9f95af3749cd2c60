#include "storedenvironment.h"
#include "support/tablefixture.h"

#include <cerrno>
#include <fstream>
#include <set>

namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;

/** File parts that point outside the environment's directory, or at other files in it. */
const std::vector<QString> RefusedFileParts{
    "",
    QString::fromLatin1("t\0x", 3),
    ".",
    "..",
    "../other/u",
    "../env/t",
    "./t",
    "sub/../t",
    "sub/./t",
    "sub//t",
    "sub/",
    "new/",
    "new/../new/t",
    "/",
    "DB_CONFIG",
    "sub/DB_CONFIG",
    "DB_CONFIG/t",
    "log.0000000050",
    "log.9999999999",
    "log.99999999999",
    "log.7",
    "sub/log.0000000050",
    "log.0000000050/t",
    "__db.001",
    "__db",
    "sub/__dbt",
    "__dbdir/t",
    "__log__",
    "__log__/t",
    "BackupInProgress.tmp",
    "BackupFiles.list",
    "BackupFiles.list.tmp",
    "BackupFiles.list.new",
    "BackupLog.hold",
    "BackupLog.hold.new",
    "t_98.db",
    "t_00.db",
    "_ff.db",
    "sub/t_3f.db",
    "t_00.db/u",
};

QVariantMap itemBody(const QString& hash = "abc", const QString& range = "1")
{
    return {{"h", textValue(hash)}, {"r", textValue(range)}};
}

class TableName : public TableTest {
protected:
    void SetUp() override
    {
        TableTest::SetUp();
        std::filesystem::create_directory(home() + "/sub");
        other_ = makeDirectory("other");
        createTable(tableName());
        createTable(tableIn(other_, "u"));
        EXPECT_EQ(request("PutItem", {{"TableName", tableName()}, {"Item", itemBody()}}),
                  okReply({{"Attributes", QVariantMap()}}));
    }

    /** Everything in the directory of the server's log, at any depth. */
    std::set<std::string> everything() const
    {
        std::set<std::string> paths;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(server_.directory()))
            paths.insert(entry.path());
        return paths;
    }

    /** As it appears in a log line, which ends at a zero byte. */
    static std::vector<std::string> refusal(const QString& file, const char* subDatabase, int status = 12,
                                            const std::string& more = {})
    {
        const std::string start = "[CRIT] bdb # Failed to open DB dbpath: ";
        const QByteArray bytes = file.toUtf8();
        std::vector<std::string> lines;
        if (bytes.contains('\0'))
            lines.push_back(start + bytes.constData());
        else
            lines.push_back(start + bytes.toStdString() + " dbname " + subDatabase + " rc " + std::to_string(EINVAL) +
                            " flags 289");
        if (!more.empty())
            lines.push_back(more);
        lines.push_back(composeError(status));
        return lines;
    }

    void expectHealthy()
    {
        EXPECT_EQ(get("abc", "1"), okReply({{"Item", QVariantMap()}}));
        EXPECT_EQ(describe(tableIn(other_, "u")).value("__rc"), QVariant(200LL));
        EXPECT_THAT(takeComplaints(), IsEmpty());
    }

    std::string other_;
};

TEST_F(TableName, ThatHarmsOthersIsRefusedByEveryOperationAndMakesNoFile)
{
    struct Case {
        QByteArray operation;
        QVariantMap fields;
        QString suffix; // of the first file that it opens
        const char* subDatabase;
        int status = 12;
        QVariantMap answered{};
    };
    const QVariantMap nothing{{"Count", 0LL}, {"Items", QVariantList()}};
    const std::vector<Case> cases{
        {"CreateTable", {{"KeySchema", keySchema()}}, "", "meta"},
        {"DescribeTable", {}, "", "meta"},
        {"PutItem", {{"Item", itemBody()}}, "", "meta"},
        {"GetItem", {{"Key", itemKey("abc", "1")}}, "_98.db", "data"},
        {"UpdateItem", {{"Key", itemKey("abc", "1")}}, "_98.db", "data"},
        {"DeleteItem", {{"Key", itemKey("abc", "1")}}, "_98.db", "data"},
        {"Query", {{"HashKeyValue", textValue("abc")}}, "", "meta", 2, nothing},
        {"Scan", {}, "", "meta", 2, merged(nothing, {{"ScannedCount", 0LL}})},
    };
    (void)takeComplaints();
    const std::set<std::string> before = everything();
    for (const QString& file : RefusedFileParts) {
        for (const Case& c : cases) {
            EXPECT_EQ(request(c.operation, merged(c.fields, {{"TableName", tableName(file)}})),
                      internalErrorReply(c.answered))
                << c.operation.toStdString() << ' ' << file.toStdString();
            EXPECT_THAT(takeComplaints(), ElementsAreArray(refusal(file + c.suffix, c.subDatabase, c.status)))
                << c.operation.toStdString() << ' ' << file.toStdString();
        }
    }
    EXPECT_EQ(everything(), before);
    expectHealthy();
    restartServer();
    expectHealthy();
}

TEST_F(TableName, ThatHarmsOthersEndsABatchInWhicheverPlaceItHas)
{
    const QVariantMap write{{"PutRequest", QVariantMap{{"Item", itemBody("abc", "2")}}}};
    (void)takeComplaints();
    const std::set<std::string> before = everything();
    for (const QString& file : RefusedFileParts) {
        const QString name = tableName(file);
        const std::string loadFailed =
            "[ERROR] bdbrequest # batchWriteItem schema load failed: " + std::string(name.toUtf8().constData());
        for (const QVariantMap& tables : {
                 QVariantMap{{name, QVariantList{write}}},
                 QVariantMap{{name, QVariantList{write}}, {tableName(), QVariantList{write}}},
                 QVariantMap{{name, QVariantList()}, {tableName(), QVariantList{write}}},
             }) {
            EXPECT_EQ(request("BatchWriteItem", {{"RequestItems", tables}}),
                      internalErrorReply({{"UnprocessedItems", tables}}))
                << name.toStdString();
            EXPECT_THAT(takeComplaints(), ElementsAreArray(refusal(file, "meta", 12, loadFailed)))
                << name.toStdString();
        }
    }
    EXPECT_EQ(get("abc", "2"), okReply()); // a batch is all or nothing
    EXPECT_EQ(everything(), before);
    restartServer();
    expectHealthy();
}

TEST_F(TableName, ThatIsAbsoluteWritesNowhere)
{
    const QString absolute = QString::fromStdString(server_.directory() + "/elsewhere");
    (void)takeComplaints();
    const std::set<std::string> before = everything();
    EXPECT_EQ(request("CreateTable", {{"TableName", tableName(absolute)}, {"KeySchema", keySchema()}}),
              internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAreArray(refusal(absolute, "meta")));
    EXPECT_EQ(request("GetItem", {{"TableName", tableName(absolute)}, {"Key", itemKey("abc", "1")}}),
              internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAreArray(refusal(absolute + "_98.db", "data")));
    EXPECT_EQ(everything(), before);
    expectHealthy();
}

TEST_F(TableName, WithoutABarIsRefusedByItsLastComponent)
{
    (void)takeComplaints();
    for (const auto& [end, file] : std::vector<std::pair<std::string, QString>>{
             {"/", ""}, {"/.", "."}, {"/sub/..", ".."}, {"/DB_CONFIG", "DB_CONFIG"}, {"/__log__", "__log__"}}) {
        std::filesystem::create_directory(home() + end); // names a directory, which must exist
        const QString name = QString::fromStdString(home() + end);
        EXPECT_EQ(request("CreateTable", {{"TableName", name}, {"KeySchema", keySchema()}}), internalErrorReply())
            << end;
        EXPECT_THAT(takeComplaints(), ElementsAreArray(refusal(file, "meta"))) << end;
    }
}

TEST_F(TableName, ThatIsRefusedStillNamesItsEnvironmentToUpdateTableAndDeleteTable)
{
    (void)takeComplaints();
    for (const QString& file : RefusedFileParts) {
        EXPECT_EQ(request("UpdateTable",
                          {{"TableName", tableName(file)}, {"ProvisionedThroughput", QVariantMap{{"FlushDB", "1"}}}}),
                  okReply({{"TableDescription", QVariantMap{{"TableStatus", "ACTIVE"}}}}))
            << file.toStdString();
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableName(file)}}), okReply()) << file.toStdString();
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
    expectHealthy();
}

TEST_F(TableName, MayBeAPathBelowTheDirectory)
{
    const std::vector<QString> names{"sub/t", "made/on/the/way/t", "log.events", ".t", "...", "__data",
                                     "t_98",  "t_3F.db",           R"(sub\t)"};
    for (const QString& file : names) {
        createTable(tableName(file));
        EXPECT_EQ(request("PutItem",
                          {{"TableName", tableName(file)}, {"Item", merged(itemBody(), {{"f", textValue(file)}})}}),
                  okReply({{"Attributes", QVariantMap{{"f", textValue(file)}}}}))
            << file.toStdString();
        EXPECT_TRUE(std::filesystem::exists(home() + '/' + file.toStdString())) << file.toStdString();
        EXPECT_TRUE(std::filesystem::exists(home() + '/' + file.toStdString() + "_98.db")) << file.toStdString();
    }
    for (int starts = 0; starts < 2; ++starts) {
        for (const QString& file : names) {
            const QVariantMap item = merged(itemBody(), {{"f", textValue(file)}});
            EXPECT_EQ(describe(tableName(file)).value("Table").toMap().value("KeySchema"), QVariant(keySchema()));
            EXPECT_EQ(request("GetItem", {{"TableName", tableName(file)}, {"Key", itemKey("abc", "1")}}),
                      okReply({{"Item", QVariantMap{{"f", textValue(file)}}}}))
                << file.toStdString();
            EXPECT_EQ(request("Query", {{"TableName", tableName(file)}, {"HashKeyValue", textValue("abc")}}),
                      okReply({{"Count", 1LL}, {"Items", QVariantList{item}}}))
                << file.toStdString();
        }
        expectHealthy();
        restartServer();
    }
}

} // namespace
