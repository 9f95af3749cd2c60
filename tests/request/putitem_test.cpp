#include "itemoperation.h"
#include "storedenvironment.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PutItem : public ItemOperation {
protected:
    QVariantMap putItem(const QVariant& item, const QVariantMap& more = {})
    {
        return request("PutItem", merged({{"TableName", tableName()}, {"Item", item}}, more));
    }

    const QVariantMap one_{{"a", textValue("x")}, {"n", numberValue("1")}};
    const QVariantMap two_{{"a", textValue("y")}, {"b", QVariantMap{{"SS", QVariantList{"p", "q"}}}}};
};

TEST_F(PutItem, AnswersTheItemWithoutItsKeys)
{
    EXPECT_EQ(put("k", "1", one_), answer(one_));
    EXPECT_EQ(get("k", "1"), found(one_));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(PutItem, AllOldAnswersTheItemThatWasThere)
{
    const QVariantMap allOld{{"ReturnValues", "ALL_OLD"}};
    EXPECT_EQ(put("k", "1", one_, allOld), answer({}));
    EXPECT_EQ(put("k", "1", two_, allOld), answer(one_));
    EXPECT_EQ(put("k", "1", {}, allOld), answer(two_));
    EXPECT_EQ(put("k", "1", one_, allOld), answer({}));
    EXPECT_EQ(get("k", "1"), found(one_));
}

TEST_F(PutItem, NoneAndAllOtherReturnValuesStillAnswerAttributes)
{
    for (const QVariant& value :
         {QVariant("NONE"), QVariant("all_old"), QVariant("All_Old"), QVariant("ALL_OLD "), QVariant("ALL_NEW"),
          QVariant("UPDATED_OLD"), QVariant("UPDATED_NEW"), QVariant(""), QVariant(), QVariant(5LL), QVariant(true),
          QVariant(QVariantList{"ALL_OLD"}), QVariant(QVariantMap{{"S", "ALL_OLD"}})}) {
        put("k", "1", one_);
        EXPECT_EQ(put("k", "1", two_, {{"ReturnValues", value}}), answer(two_)) << value.toString().toStdString();
        EXPECT_EQ(get("k", "1"), found(two_));
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(PutItem, ReplacesTheWholeItem)
{
    put("k", "1", one_);
    put("k", "2", one_);
    EXPECT_EQ(put("k", "1", two_), answer(two_));
    EXPECT_EQ(get("k", "1"), found(two_));
    EXPECT_EQ(get("k", "2"), found(one_));
}

TEST_F(PutItem, StoresJsonWithoutKeysInTheFileOfItsPartition)
{
    // The fourth byte of the digests of "abc", "" and "k": 900150 98, d41d8c d9, 8ce4b1 6b.
    put("abc", "2012-01", one_);
    put("abc", "", two_);
    put("", "range", one_);
    put("k", "1", {});
    killServer();

    StoredEnvironment stored(home());
    EXPECT_THAT(stored.files(), ElementsAre("t", "t_6b.db", "t_98.db", "t_d9.db"));
    EXPECT_THAT(stored.subDatabases("t_98.db"), ElementsAre(QByteArray("data")));
    using Records = std::map<QByteArray, QByteArray>;
    EXPECT_EQ(stored.records("t_98.db", "data"), (Records{{"0003abc", R"({"a":{"S":"y"},"b":{"SS":["p","q"]}})"},
                                                          {"0003abc2012-01", R"({"a":{"S":"x"},"n":{"N":"1"}})"}}));
    EXPECT_EQ(stored.records("t_d9.db", "data"), (Records{{"0000range", R"({"a":{"S":"x"},"n":{"N":"1"}})"}}));
    EXPECT_EQ(stored.records("t_6b.db", "data"), (Records{{"0001k1", "{}"}}));
}

TEST_F(PutItem, RangeKeyMayBeMissing)
{
    EXPECT_EQ(putItem(merged(one_, {{"h", textValue("k")}})), answer(one_));
    EXPECT_EQ(get("k", ""), found(one_));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(PutItem, ItemWithoutAUsableKeyIsAnInternalError)
{
    const QVariantMap hash{{"h", textValue("k")}};
    const std::vector<QVariant> items{
        {},
        QVariant(5LL),
        QVariant("text"),
        QVariant(QVariantList{hash}),
        QVariantMap{},
        QVariantMap{{"r", textValue("1")}},
        QVariantMap{{"H", textValue("k")}, {"r", textValue("1")}},
        QVariantMap{{"h", numberValue("5")}, {"r", textValue("1")}},
        QVariantMap{{"h", "k"}, {"r", textValue("1")}},
        QVariantMap{{"h", QVariant()}, {"r", textValue("1")}},
        QVariantMap{{"h", QVariantMap{{"s", "k"}}}, {"r", textValue("1")}},
        merged(hash, {{"r", numberValue("5")}}),
        merged(hash, {{"r", "1"}}),
        merged(hash, {{"r", QVariantList{textValue("1")}}}),
        merged(hash, {{"r", QVariant()}}),
    };
    for (const QVariant& item : items) {
        EXPECT_EQ(putItem(item), internalErrorReply()) << Json::serialize(item).toStdString();
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # attr missing", composeError(2)));
    }
    EXPECT_EQ(request("PutItem", {{"TableName", tableName()}}), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # attr missing", composeError(2)));
}

TEST_F(PutItem, KeyTextThatIsNoStringIsReadAsItsText)
{
    const std::vector<std::pair<QVariant, QString>> cases{{QVariant(5LL), "5"},
                                                          {QVariant(-7LL), "-7"},
                                                          {QVariant(1.5), "1.5"},
                                                          {QVariant(true), "true"},
                                                          {QVariant(), ""},
                                                          {QVariant(QVariantList{"x"}), ""},
                                                          {QVariant(QVariantMap{{"S", "x"}}), ""}};
    for (const auto& [value, text] : cases) {
        const QVariantMap attributes{{"a", textValue("hash " + text)}};
        const QVariantMap typed{{"S", value}};
        EXPECT_EQ(putItem(merged(attributes, {{"h", typed}, {"r", typed}})), answer(attributes));
        EXPECT_EQ(get(text, text), found(attributes)) << text.toStdString();
        EXPECT_EQ(remove(text, text), okReply());
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(PutItem, KeyOutsideLatin1IsRefusedAndNothingIsWritten)
{
    for (const QString& text : {QString(QChar(0x100)), QString(QChar(0x20ac)), QString::fromUcs4(U"\U0001F600"),
                                QString("k") + QChar(0x3b1), QString(QChar(0xfffd))}) {
        EXPECT_EQ(put(text, "1", one_), invalidRequestReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
        EXPECT_EQ(put("k", text, one_), invalidRequestReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
    }
    killServer();
    EXPECT_THAT(StoredEnvironment(home()).files(), ElementsAre("t"));
}

TEST_F(PutItem, NeedsASchema)
{
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}};
    EXPECT_EQ(request("PutItem", {{"TableName", tableName("none")}, {"Item", item}}), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # schema load failed rc 3"));

    createTable(tableName("hash only"), {{"HashKeyElement", schemaElement("h")}});
    EXPECT_EQ(request("PutItem", {{"TableName", tableName("hash only")}, {"Item", item}}), notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # wrond key rc1 0 rc2 2"));
}

TEST_F(PutItem, MissingHomeIsNotFound)
{
    const std::string missing = home() + "/missing";
    EXPECT_EQ(request("PutItem", {{"TableName", tableIn(missing)}}), notFoundReply());
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[CRIT] bdb # Failed to open env path: " + missing + " id env::" + missing + " rc 2"));
}

TEST_F(PutItem, PartitionThatCannotBeOpenedIsAnInternalError)
{
    std::filesystem::create_directory(home() + "/t_98.db");
    EXPECT_EQ(put("abc", "1", one_), internalErrorReply());
    const std::vector<std::string> lines = takeComplaints();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_THAT(lines[lines.size() - 2],
                testing::MatchesRegex(
                    R"(\[CRIT\] bdb # Failed to open DB dbpath: t_98\.db dbname data rc -?[0-9]+ flags 289)"));
    EXPECT_EQ(lines.back(), composeError(12));
    EXPECT_EQ(put("k", "1", one_), answer(one_)); // other partitions are not affected
}

TEST_F(PutItem, ReadsNothingUnlessItHasTo)
{
    put("abc", "1", one_);
    killServer();
    StoredEnvironment(home()).put("t_98.db", "data", "0003abc1", "no JSON");
    ASSERT_TRUE(server_.start());
    for (const QVariantMap& more :
         {QVariantMap{{"ReturnValues", "ALL_OLD"}}, QVariantMap{{"Expected", QVariantMap()}}}) {
        EXPECT_EQ(put("abc", "1", two_, more), internalErrorReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # parser failed", composeError(2)));
    }
    EXPECT_EQ(get("abc", "1"), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # parser error", composeError(2)));
    EXPECT_EQ(put("abc", "1", two_), answer(two_));
    EXPECT_EQ(get("abc", "1"), found(two_));
}

} // namespace
