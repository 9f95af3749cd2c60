#include "updateitemfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** The same updates of the same item, with every value of "ReturnValues". */
TEST_F(UpdateItem, ReturnValuesChooseTheAnswer)
{
    const QVariantMap keys{{"h", "k"}, {"r", "1"}}; // bare strings
    const QVariantMap updatedOld{{"a", textValue("x")}, {"c", textValue("gone")}, {"n", numberValue("1")}};
    const QVariantMap updatedNew{
        {"a", textValue("y")}, {"b", numberValue("7")}, {"m", numberValue("3")}, {"n", numberValue("42")}};
    const std::vector<std::pair<QVariantMap, QVariantMap>> cases{
        {{}, okReply()},
        {returning("NONE"), okReply()},
        {returning("ALL_OLD"), answer(merged(old_, keys))},
        {returning("ALL_NEW"), answer(merged(new_, keys))},
        {returning("UPDATED_OLD"), answer(updatedOld)},
        {returning("UPDATED_NEW"), answer(updatedNew)},
        {returning("all_new"), okReply()},
        {returning("ALL_NEW "), okReply()},
        {returning(""), okReply()},
        {returning(QVariant()), okReply()},
        {returning(5LL), okReply()},
        {returning(QVariantList{"ALL_NEW"}), okReply()},
        {returning(QVariantMap{{"S", "ALL_NEW"}}), okReply()},
    };
    for (const auto& [more, reply] : cases) {
        put("k", "1", old_);
        EXPECT_EQ(update("k", "1", updates_, more), reply) << testing::PrintToString(more);
        EXPECT_EQ(get("k", "1"), found(new_));
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(UpdateItem, AllNewKeysAreBareStrings)
{
    const QString latin = QString::fromLatin1("\xe4\xff\x01");
    EXPECT_EQ(update(latin, "", {{"a", putValue(textValue("x"))}}, returning("ALL_NEW")),
              answer({{"a", textValue("x")}, {"h", latin}, {"r", ""}}));
}

TEST_F(UpdateItem, AnswersOfAMissingItem)
{
    const QVariantMap updates{{"a", putValue(textValue("x"))}};
    EXPECT_EQ(update("k", "1", updates, returning("ALL_OLD")), okReply());
    EXPECT_EQ(update("k", "2", updates, returning("UPDATED_OLD")), okReply());
    EXPECT_EQ(update("k", "3", updates, returning("UPDATED_NEW")), answer({{"a", textValue("x")}}));
    EXPECT_EQ(update("k", "4", updates, returning("ALL_NEW")), answer({{"a", textValue("x")}, {"h", "k"}, {"r", "4"}}));
}

/** Only ALL_NEW and ALL_OLD read the schema: after the update, and only for the names of the keys. */
TEST_F(UpdateItem, WithoutASchemaTheKeyNamesAreEmpty)
{
    const QString name = tableName("none");
    const QVariantMap body{{"TableName", name},
                           {"Key", itemKey("k", "1")},
                           {"AttributeUpdates", QVariantMap{{"a", putValue(textValue("x"))}}}};
    EXPECT_EQ(request("UpdateItem", body), okReply());
    EXPECT_EQ(request("UpdateItem", merged(body, returning("UPDATED_NEW"))), answer({{"a", textValue("x")}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_EQ(request("UpdateItem", merged(body, returning("ALL_NEW"))), answer({{"", "1"}, {"a", textValue("x")}}));
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[ERROR] bdbrequest # schema load failed rc 3", "[ERROR] bdbrequest # key schema missing"));
}

TEST_F(UpdateItem, UnusableSchemaKeepsTheNamesThatCouldBeRead)
{
    const QVariantMap hash{{"HashKeyElement", schemaElement("h")}};
    const QVariantMap onlyName{{"AttributeName", "x"}};
    const QVariantMap onlyType{{"AttributeType", "S"}};
    const QVariantMap noNames{{"", "1"}};
    const QVariantMap hashName{{"h", "k"}, {"", "1"}};
    const std::vector<std::tuple<QVariantMap, std::string, QVariantMap>> cases{
        {{}, "hash key missing", noNames},
        {{{"HashKeyElement", "h"}}, "schema attr missing", noNames},
        {{{"HashKeyElement", onlyName}}, "schema attr missing", noNames},
        {{{"HashKeyElement", onlyType}}, "schema attr missing", noNames},
        {{{"HashKeyElement", schemaElement("h", "N")}}, "wrong hash-key", noNames},
        {{{"HashKeyElement", schemaElement("h", "s")}}, "wrong hash-key", noNames},
        {hash, "range key missing", hashName},
        {merged(hash, {{"RangeKeyElement", onlyName}}), "schema attr missing", hashName},
        {merged(hash, {{"RangeKeyElement", onlyType}}), "schema attr missing", hashName},
        {merged(hash, {{"RangeKeyElement", 5LL}}), "schema attr missing", hashName},
        {merged(hash, {{"RangeKeyElement", schemaElement("r", "B")}}), "wrong range-key", hashName},
    };
    for (const auto& [schema, line, names] : cases) {
        createTable(tableName(), schema);
        EXPECT_EQ(update("k", "1", {{"a", putValue(textValue("x"))}}, returning("ALL_NEW")),
                  answer(merged(names, {{"a", textValue("x")}})));
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # " + line));
    }
}

} // namespace
