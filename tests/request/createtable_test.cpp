#include "storedenvironment.h"
#include "support/tablefixture.h"

#include <fstream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CreateTable : public TableTest {
protected:
    static QVariantMap description(const QString& name, const QVariantMap& schema = keySchema(),
                                   const QVariantMap& throughputMap = throughput())
    {
        return {{"CreationDateTime", 123456LL},
                {"KeySchema", schema},
                {"ProvisionedThroughput", throughputMap},
                {"TableName", name},
                {"TableStatus", "ACTIVE"}};
    }
    static QVariantMap described(const QVariantMap& description, qlonglong bytes = 0)
    {
        return okReply({{"Table", merged(description, {{"ItemCount", 1LL}, {"TableSizeBytes", bytes}})}});
    }
    QVariantMap create(const QString& name, const QVariant& schema = keySchema(),
                       const QVariant& throughputMap = throughput())
    {
        return request("CreateTable",
                       {{"TableName", name}, {"KeySchema", schema}, {"ProvisionedThroughput", throughputMap}});
    }
    static QVariantMap created(const QVariantMap& description) { return okReply({{"TableDescription", description}}); }
};

TEST_F(CreateTable, AnswersTheDescription)
{
    EXPECT_EQ(create(tableName()), created(description(tableName())));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CreateTable, StoresTheDescriptionAsTheOnlyRecordOfMeta)
{
    EXPECT_EQ(create(tableName()), created(description(tableName())));
    killServer();

    StoredEnvironment stored(home());
    EXPECT_THAT(stored.files(), ElementsAre("t"));
    EXPECT_THAT(stored.subDatabases("t"), ElementsAre(QByteArray("meta")));
    const auto records = stored.records("t", "meta");
    ASSERT_THAT(records, testing::SizeIs(1));
    EXPECT_EQ(records.begin()->first, QByteArray("0011tableschema"));
    EXPECT_EQ(records.begin()->second, Json::serialize(description(tableName())));
}

TEST_F(CreateTable, ASecondOneReplacesTheFirst)
{
    EXPECT_EQ(create(tableName()), created(description(tableName())));
    put("k", "1", {{"a", textValue("x")}});
    const QVariantMap other{{"ReadCapacityUnits", 1LL}};
    EXPECT_EQ(create(tableName(), keySchema("x", "y"), other),
              created(description(tableName(), keySchema("x", "y"), other)));
    EXPECT_EQ(describe(tableName()), described(description(tableName(), keySchema("x", "y"), other)));
    // Items remain; only the names of their key attributes change.
    EXPECT_EQ(get("k", "1"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_EQ(request("PutItem", {{"TableName", tableName()},
                                  {"Item", QVariantMap{{"x", textValue("k")}, {"y", textValue("1")}}},
                                  {"ReturnValues", "ALL_OLD"}}),
              okReply({{"Attributes", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CreateTable, MissingMapsAreEmptyMaps)
{
    EXPECT_EQ(request("CreateTable", {{"TableName", tableName()}}), created(description(tableName(), {}, {})));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CreateTable, WhatIsNoMapIsAnEmptyMap)
{
    for (const QVariant& other : {QVariant(), QVariant(5LL), QVariant(1.5), QVariant(true), QVariant("text"),
                                  QVariant(QVariantList{QVariantMap{{"HashKeyElement", 1LL}}})})
        EXPECT_EQ(create(tableName(), other, other), created(description(tableName(), {}, {})));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CreateTable, MapsAreStoredAndAnsweredAsTheyCame)
{
    const QVariantMap odd{
        {"", QVariant()},
        {"bool", true},
        {"double", 0.1},
        {"max", std::numeric_limits<qlonglong>::max()},
        {"min", std::numeric_limits<qlonglong>::min()},
        {"unsigned", std::numeric_limits<qulonglong>::max()},
        {"nested", QVariantList{QVariantList{}, QVariantMap{{"x", QVariantList{1LL, "2", QVariant()}}}}},
        {QString::fromUcs4(U"\u00e4\u20ac\U0001F600"), QString::fromUcs4(U"\U0010FFFF\0!", 3)}};
    const QVariantMap schema = merged(odd, keySchema());
    EXPECT_EQ(create(tableName(), schema, odd), created(description(tableName(), schema, odd)));
    EXPECT_EQ(describe(tableName()), described(description(tableName(), schema, odd)));
    restartServer();
    EXPECT_EQ(describe(tableName()), described(description(tableName(), schema, odd)));
}

TEST_F(CreateTable, MissingHomeIsNotFoundAndIsNotCreated)
{
    const std::string missing = home() + "/missing";
    EXPECT_EQ(create(tableIn(missing)), notFoundReply());
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[CRIT] bdb # Failed to open env path: " + missing + " id env::" + missing + " rc 2"));
    EXPECT_FALSE(std::filesystem::exists(missing));

    std::filesystem::create_directory(missing); // once it exists, it can be used
    EXPECT_EQ(create(tableIn(missing)), created(description(tableIn(missing))));
}

TEST_F(CreateTable, HomeThatIsAFileIsNotFound)
{
    const std::string file = home() + "/file";
    std::ofstream(file) << "text";
    EXPECT_EQ(create(tableIn(file)), notFoundReply());
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[CRIT] bdb # Failed to open env path: " + file + " id env::" + file + " rc 20"));
}

TEST_F(CreateTable, NoTableNameIsNotFound)
{
    const std::vector<QVariantMap> bodies{{},
                                          {{"TableName", QVariant()}},
                                          {{"TableName", ""}},
                                          {{"TableName", "|t"}},
                                          {{"TableName", QVariantList{tableName()}}},
                                          {{"TableName", QVariantMap{{"S", tableName()}}}},
                                          {{"tablename", tableName()}}};
    for (const QVariantMap& body : bodies) {
        EXPECT_EQ(request("CreateTable", body), notFoundReply()) << testing::PrintToString(body);
        EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to open env path:  id env:: rc 2"));
    }
}

TEST_F(CreateTable, TableNameThatIsNoStringIsReadAsItsText)
{
    const std::vector<std::pair<QVariant, std::string>> cases{
        {QVariant(5LL), "5"}, {QVariant(-1.5), "-1.5"}, {QVariant(true), "true"}, {QVariant(false), "false"}};
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(request("CreateTable", {{"TableName", value}}), notFoundReply());
        EXPECT_THAT(takeComplaints(),
                    ElementsAre("[CRIT] bdb # Failed to open env path: " + text + " id env::" + text + " rc 2"));
    }
}

TEST_F(CreateTable, NamesMayHoldBlanksBarsAndAnyCharacters)
{
    const QString odd = QString::fromUcs4(U" a b \u00e4\u20ac\U0001F600\u202e ");
    const std::string directory = makeDirectory(("odd|" + odd).toStdString());
    const QString name = tableIn(directory, odd);
    EXPECT_EQ(create(name), created(description(name)));
    EXPECT_EQ(describe(name), described(description(name)));
    EXPECT_EQ(request("PutItem",
                      {{"TableName", name}, {"Item", QVariantMap{{"h", textValue("abc")}, {"r", textValue("1")}}}}),
              okReply({{"Attributes", QVariantMap{}}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
    killServer();
    EXPECT_THAT(StoredEnvironment(directory).files(), ElementsAre(odd.toStdString(), odd.toStdString() + "_98.db"));
}

TEST_F(CreateTable, WithoutABarTheLastPartOfThePathNamesTheFiles)
{
    const QString name = QString::fromStdString(home());
    EXPECT_EQ(create(name), created(description(name)));
    EXPECT_EQ(request("PutItem",
                      {{"TableName", name}, {"Item", QVariantMap{{"h", textValue("abc")}, {"r", textValue("1")}}}}),
              okReply({{"Attributes", QVariantMap{}}}));
    killServer();
    EXPECT_THAT(StoredEnvironment(home()).files(), ElementsAre("env", "env_98.db"));
}

TEST_F(CreateTable, WithoutABarABackslashSeparatesAsWell)
{
    const std::string directory = makeDirectory("left\\right");
    const QString name = QString::fromStdString(directory);
    EXPECT_EQ(create(name), created(description(name)));
    EXPECT_EQ(describe(name).value("Table").toMap().value("TableName").toString(), name);
    killServer();
    EXPECT_THAT(StoredEnvironment(directory).files(), ElementsAre("right"));
}

TEST_F(CreateTable, TableInASubdirectoryOfTheHome)
{
    std::filesystem::create_directory(home() + "/sub");
    EXPECT_EQ(create(tableName("sub/t")), created(description(tableName("sub/t"))));
    EXPECT_EQ(describe(tableName("sub/t")), described(description(tableName("sub/t"))));
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_TRUE(std::filesystem::exists(home() + "/sub/t"));
}

TEST_F(CreateTable, UnusableFilesAreInternalErrors)
{
    std::filesystem::create_directory(home() + "/taken");
    std::ofstream(home() + "/text") << "this is no database, and it is longer than a few bytes";
    const std::string tooLong(300, 'x');
    for (const std::string& table : {std::string("taken"), std::string("text"), tooLong, std::string()}) {
        EXPECT_EQ(create(tableName(QString::fromStdString(table))), internalErrorReply()) << table;
        const std::vector<std::string> lines = takeComplaints();
        ASSERT_GE(lines.size(), 2U) << table;
        EXPECT_THAT(
            lines[lines.size() - 2],
            testing::AllOf(testing::StartsWith("[CRIT] bdb # Failed to open DB dbpath: " + table + " dbname meta rc "),
                           testing::EndsWith(" flags 289")));
        EXPECT_EQ(lines.back(), composeError(12));
    }
    EXPECT_EQ(create(tableName()), created(description(tableName()))); // the environment itself is intact
}

TEST_F(CreateTable, NameWithAZeroByteIsNotTheTableBeforeIt)
{
    EXPECT_EQ(create(tableName()), created(description(tableName())));
    const QString name = tableName(QString::fromLatin1("t\0x", 3));
    EXPECT_EQ(create(name), internalErrorReply());
    EXPECT_EQ(request("CreateTable", {{"TableName", QString::fromStdString(home()) + QString::fromLatin1("\0x|t", 4)}}),
              notFoundReply());
    EXPECT_EQ(describe(tableName()), described(description(tableName())));
}

} // namespace
