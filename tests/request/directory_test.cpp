#include "support/tablefixture.h"

#include <cerrno>

namespace {

using testing::IsEmpty;

class Directory : public TableTest {};

TEST_F(Directory, EverySpellingSeesTheSameItems)
{
    createTable(tableName());
    std::filesystem::create_directory_symlink(home(), server_.directory() + "/link");
    std::filesystem::create_directory_symlink("link", server_.directory() + "/relative link");
    const std::string upAndDown =
        server_.directory() + "/../" + std::filesystem::path(server_.directory()).filename().string() + "/env";
    const std::vector<std::string> spellings{home(),
                                             home() + "/",
                                             home() + "///",
                                             home() + "/.",
                                             '/' + home(),
                                             upAndDown,
                                             server_.directory() + "/link",
                                             server_.directory() + "/relative link/./"};
    for (std::size_t i = 0; i < spellings.size(); ++i) {
        const QVariantMap item{
            {"h", textValue("k")}, {"r", textValue(QString::number(i))}, {"i", numberValue(QString::number(i))}};
        EXPECT_EQ(request("PutItem", {{"TableName", tableIn(spellings[i])}, {"Item", item}}),
                  okReply({{"Attributes", QVariantMap{{"i", numberValue(QString::number(i))}}}}))
            << spellings[i];
        for (std::size_t j = 0; j <= i; ++j) {
            for (const std::string& spelling : spellings)
                EXPECT_EQ(
                    request("GetItem", {{"TableName", tableIn(spelling)}, {"Key", itemKey("k", QString::number(j))}}),
                    okReply({{"Item", QVariantMap{{"i", numberValue(QString::number(j))}}}}))
                    << spelling;
        }
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(Directory, BelongsToOneServerAtATime)
{
    createTable(tableName());
    put("k", "1", {{"a", textValue("x")}});

    ServerProcess second;
    ASSERT_TRUE(second.start());
    const std::string line =
        "Failed to open env path: " + home() + " id env::" + home() + " rc " + std::to_string(EWOULDBLOCK);
    std::vector<std::pair<QByteArray, QVariantMap>> requests = itemRequests();
    for (const char* operation : {"CreateTable", "DescribeTable", "UpdateTable"})
        requests.emplace_back(operation, QVariantMap());
    for (const auto& [operation, body] : requests)
        EXPECT_EQ(second.request(operation, merged(body, {{"TableName", tableName()}})), notFoundReply())
            << operation.toStdString();
    EXPECT_THAT(second.logText(), testing::HasSubstr(line));
    EXPECT_EQ(get("k", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));

    killServer(); // this releases its lock
    EXPECT_EQ(second.request("GetItem", {{"TableName", tableName()}, {"Key", itemKey("k", "1")}}),
              okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
}

TEST_F(Directory, TablesOfOneEnvironmentAreApart)
{
    const std::vector<const char*> others{"u", "t_6b", "t_", "sub/t"};
    createTable(tableName());
    for (const char* table : others)
        createTable(tableName(table));
    put("k", "1", {{"a", textValue("x")}});
    EXPECT_EQ(get("k", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    for (const char* table : others) {
        EXPECT_EQ(request("GetItem", {{"TableName", tableName(table)}, {"Key", itemKey("k", "1")}}), okReply());
        EXPECT_EQ(describe(tableName(table)).value("Table").toMap().value("TableName"), QVariant(tableName(table)));
    }
}

} // namespace
