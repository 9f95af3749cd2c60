#include "storedenvironment.h"
#include "support/tablefixture.h"

#include <fstream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

qlonglong bytesBelow(const std::string& directory)
{
    qlonglong sum = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        if (entry.is_regular_file())
            sum += static_cast<qlonglong>(entry.file_size());
    }
    return sum;
}

class DescribeTable : public TableTest {
protected:
    static QVariantMap table(const QString& name, const QVariantMap& schema = keySchema())
    {
        return {{"CreationDateTime", 123456LL},
                {"ItemCount", 1LL},
                {"KeySchema", schema},
                {"ProvisionedThroughput", throughput()},
                {"TableName", name},
                {"TableSizeBytes", 0LL},
                {"TableStatus", "ACTIVE"}};
    }

    /** The size that DescribeTable reports, once the directory has not changed during the request. */
    qlonglong describedSize(const QString& name, const std::string& directory, qlonglong* measured)
    {
        qlonglong size = -1;
        EXPECT_TRUE(waitUntil([&] {
            *measured = bytesBelow(directory);
            size = describe(name).value("Table").toMap().value("TableSizeBytes").toLongLong();
            return bytesBelow(directory) == *measured;
        }));
        return size;
    }
};

TEST_F(DescribeTable, AnswersTheWholeDescription)
{
    createTable(tableName());
    EXPECT_EQ(describe(tableName()), okReply({{"Table", table(tableName())}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DescribeTable, ItemCountIsAlwaysOne)
{
    createTable(tableName());
    for (int i = 0; i < 5; ++i)
        put("k", QString::number(i), {{"a", textValue("x")}});
    EXPECT_EQ(describe(tableName()), okReply({{"Table", table(tableName())}}));
}

TEST_F(DescribeTable, SizeOfANameWithABarIsZero)
{
    createTable(tableName());
    put("k", "1", {{"a", textValue(QString(10000, 'x'))}});
    EXPECT_EQ(describe(tableName()), okReply({{"Table", table(tableName())}}));
}

TEST_F(DescribeTable, SizeOfANameWithoutABarIsThatOfAllFilesBelowTheDirectory)
{
    const QString name = QString::fromStdString(home());
    createTable(name);
    std::filesystem::create_directories(home() + "/sub/deeper");
    std::ofstream(home() + "/sub/deeper/file") << std::string(1234, 'x');
    std::ofstream(home() + "/.hidden") << std::string(77, 'x');
    qlonglong measured = 0;
    qlonglong described = describedSize(name, home(), &measured);
    EXPECT_EQ(described, measured);

    std::ofstream(home() + "/sub/more") << std::string(100000, 'x');
    const qlonglong before = measured;
    described = describedSize(name, home(), &measured);
    EXPECT_EQ(described, measured);
    EXPECT_GE(measured, before + 100000);
}

TEST_F(DescribeTable, MissingDirectoryIsNotFoundAndIsNotCreated)
{
    const std::string missing = home() + "/missing";
    EXPECT_EQ(describe(tableIn(missing)), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # path " + missing + " does not exist "));
    EXPECT_EQ(request("DescribeTable", {}), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # path  does not exist "));
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST_F(DescribeTable, FileInPlaceOfTheDirectoryIsNotFound)
{
    const std::string file = home() + "/file";
    std::ofstream(file) << "text";
    EXPECT_EQ(describe(tableIn(file)), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # path " + file + " does not exist "));
}

TEST_F(DescribeTable, DirectoryWithoutTheTableIsNotFoundWithoutTable)
{
    EXPECT_EQ(describe(tableName()), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # schema load failed rc 3"));
}

TEST_F(DescribeTable, UnusableKeySchemaIsNotFoundAndStillCarriesTable)
{
    const QVariantMap hash = schemaElement("h");
    const QVariantMap range = schemaElement("r");
    const std::vector<std::tuple<QVariantMap, int, int>> cases{
        {{}, 2, 2},
        {{{"HashKeyElement", hash}}, 0, 2},
        {{{"RangeKeyElement", range}}, 2, 0},
        {{{"HashKeyElement", hash}, {"RangeKeyElement", schemaElement("r", "N")}}, 0, 2},
        {{{"HashKeyElement", schemaElement("h", "B")}, {"RangeKeyElement", range}}, 2, 0},
        {{{"HashKeyElement", schemaElement("h", "s")}, {"RangeKeyElement", schemaElement("r", "")}}, 2, 2},
        {{{"HashKeyElement", QVariantMap{{"AttributeName", "h"}}}, {"RangeKeyElement", range}}, 2, 0},
        {{{"HashKeyElement", hash}, {"RangeKeyElement", QVariantMap{{"AttributeType", "S"}}}}, 0, 2},
        {{{"HashKeyElement", "h"}, {"RangeKeyElement", QVariantList{range}}}, 2, 2},
    };
    for (const auto& [schema, rc1, rc2] : cases) {
        createTable(tableName(), schema);
        EXPECT_EQ(describe(tableName()), notFoundReply({{"Table", table(tableName(), schema)}}));
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # wrond key rc1 " + std::to_string(rc1) +
                                                  " rc2 " + std::to_string(rc2)));
    }
}

TEST_F(DescribeTable, TableNameIsAsTheRequestSpellsIt)
{
    createTable(tableName());
    const QString spelled = tableIn(home() + "/.//../env/");
    EXPECT_EQ(describe(spelled), okReply({{"Table", table(spelled)}}));
}

TEST_F(DescribeTable, SchemaRecordThatIsNoJsonIsAnInternalError)
{
    createTable(tableName());
    killServer();
    StoredEnvironment(home()).put("t", "meta", "0011tableschema", "{\"KeySchema\":");
    ASSERT_TRUE(server_.start());
    EXPECT_EQ(describe(tableName()), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # parser error",
                                              "[ERROR] bdbrequest # schema load failed rc 2", composeError(2)));
}

TEST_F(DescribeTable, SchemaRecordThatIsNoObjectIsNotFoundWithoutTable)
{
    createTable(tableName());
    killServer();
    StoredEnvironment(home()).put("t", "meta", "0011tableschema", "[1]");
    ASSERT_TRUE(server_.start());
    EXPECT_EQ(describe(tableName()), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # wrond key rc1 2 rc2 2"));
}

} // namespace
