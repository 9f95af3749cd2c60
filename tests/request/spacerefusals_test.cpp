/* What the operations that free disk space refuse. */
#include "support/directorycontents.h"
#include "support/tablefixture.h"

#include <fstream>

namespace {

using testing::IsEmpty;

constexpr const char* SpaceOperations[] = {"Quorva_1.CompactTable", "Quorva_1.TruncateTable", "Quorva_1.DropTable"};

class SpaceRefusals : public TableTest {
protected:
    static QVariantMap invalid(const QString& message) { return merged(invalidRequestReply(), {{"message", message}}); }

    /** Each of the operations with this name. */
    void expectReply(const QString& name, const QVariantMap& reply)
    {
        for (const char* operation : SpaceOperations)
            EXPECT_EQ(request(operation, {{"TableName", name}, {"Partition", 0}}), reply)
                << operation << ' ' << name.toStdString();
    }

    QVariantMap compact(const QVariantMap& more)
    {
        return request("Quorva_1.CompactTable", merged({{"TableName", tableName()}}, more));
    }
};

TEST_F(SpaceRefusals, NamesThatNoTableCanHave)
{
    createTable(tableName());
    const auto before = namesIn(home());
    for (const auto& [name, reason] : std::vector<std::pair<QString, QString>>{
             {"", "the table's name is empty"},
             {".", "the table's name has a component \".\" or \"..\""},
             {"../x", "the table's name has a component \".\" or \"..\""},
             {"/x", "the table's name is an absolute path"},
             {"x//y", "the table's name has an empty component (\"//\", or \"/\" at its end)"},
             {"t_00.db", "names that end like \"_3f.db\" belong to the data files of tables"},
             {QString(300, u'x'), "the last component of the table's name is longer than 249 bytes"}})
        expectReply(tableName(name), invalid("No table can be called \"" + tableName(name) + "\": " + reason + "."));
    for (const char* name : {"DB_CONFIG", "log.0000000001", "__db.001", "BackupFiles.list"}) {
        for (const char* operation : SpaceOperations)
            EXPECT_EQ(request(operation, {{"TableName", tableName(name)}, {"Partition", 0}}).value("__type"),
                      "ValidationException")
                << operation << ' ' << name;
    }
    for (const char* operation : SpaceOperations)
        EXPECT_EQ(request(operation, {{"Partition", 0}}), invalid("The parameter \"TableName\" is missing."));
    EXPECT_EQ(namesIn(home()), before);
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(SpaceRefusals, TablesThatDoNotExistLeaveTheirDirectoryClosed)
{
    const std::string other = makeDirectory("other");
    std::ofstream(other + "/passwd") << "no database";
    std::ofstream(other + "/empty").flush();
    const auto before = contentsOf(other);
    for (const char* name : {"passwd", "empty", "none"})
        expectReply(tableIn(other, name), notFoundReply());
    expectReply(tableIn(other + "/missing"), notFoundReply());
    expectReply(QString::fromStdString(other) + QChar(0) + "|t", notFoundReply());
    EXPECT_EQ(contentsOf(other), before);
    createTable(tableName());
    expectReply(tableName("none"), notFoundReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(SpaceRefusals, PartitionsThatAreNone)
{
    createTable(tableName());
    const QVariantMap reply = invalid("\"Partition\" must be a whole number from 0 to 255.");
    for (const QVariant& partition : QVariantList{1.5, 3.0, true, "3", -1, 256, 18446744073709551615ULL, QVariant(),
                                                  QVariantList{3}, QVariantMap()})
        EXPECT_EQ(compact({{"Partition", partition}}), reply) << testing::PrintToString(partition);
    EXPECT_EQ(compact({}), reply);
    for (const int partition : {0, 255})
        EXPECT_EQ(compact({{"Partition", partition}}),
                  okReply({{"BytesAfter", 0LL}, {"BytesBefore", 0LL}, {"HasMoved", false}, {"IsBusy", false}}));
}

TEST_F(SpaceRefusals, StartKeysThatAreNone)
{
    createTable(tableName());
    ASSERT_EQ(put("k", "1", {}).value("__rc"), 200);
    const QVariantMap reply = invalid("\"StartKey\" must be the \"NextKey\" of a reply, in hexadecimal digits.");
    for (const QVariant& key : QVariantList{"0", "abc", "0g", "xy", " 00", "00 ", "0\u2713", 12, 1.5, true, QVariant(),
                                            QVariantList(), QVariantMap()})
        EXPECT_EQ(compact({{"Partition", 0}, {"StartKey", key}}), reply) << testing::PrintToString(key);
    for (int partition = 0; partition < 256; ++partition)
        EXPECT_EQ(compact({{"Partition", partition}, {"StartKey", "00FFab"}}).value("__rc"), 200);
    EXPECT_EQ(compact({{"Partition", 0}, {"StartKey", ""}}).value("__rc"), 200);
}

} // namespace
