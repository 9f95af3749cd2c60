#include "itemoperation.h"
#include "storedenvironment.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

QVariantMap action(const char* name, const QVariant& value)
{
    return {{"Action", name}, {"Value", value}};
}
QVariantMap putValue(const QVariant& value)
{
    return action("PUT", value);
}
QVariantMap addValue(const QVariant& value)
{
    return action("ADD", value);
}
const QVariantMap Delete{{"Action", "DELETE"}};

QVariantMap returning(const QVariant& values)
{
    return {{"ReturnValues", values}};
}

class UpdateItem : public ItemOperation {
protected:
    const QVariantMap old_{
        {"a", textValue("x")}, {"c", textValue("gone")}, {"n", numberValue("1")}, {"o", textValue("o")}};
    const QVariantMap updates_{
        {"a", putValue(textValue("y"))},   {"b", putValue(numberValue("7"))}, {"c", Delete}, {"d", Delete},
        {"m", addValue(numberValue("3"))}, {"n", addValue(numberValue("41"))}};
    const QVariantMap new_{{"a", textValue("y")},
                           {"b", numberValue("7")},
                           {"m", numberValue("3")},
                           {"n", numberValue("42")},
                           {"o", textValue("o")}};
};

/** The same updates of the same item with every form of "ReturnValues". */
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

TEST_F(UpdateItem, MakesTheItemThatIsMissing)
{
    EXPECT_EQ(update("k", "1", {{"a", putValue(textValue("x"))}, {"n", addValue(numberValue("3"))}, {"z", Delete}}),
              okReply());
    EXPECT_EQ(get("k", "1"), found({{"a", textValue("x")}, {"n", numberValue("3")}}));
}

TEST_F(UpdateItem, AnswersOfAMissingItem)
{
    const QVariantMap updates{{"a", putValue(textValue("x"))}};
    EXPECT_EQ(update("k", "1", updates, returning("ALL_OLD")), okReply());
    EXPECT_EQ(update("k", "2", updates, returning("UPDATED_OLD")), okReply());
    EXPECT_EQ(update("k", "3", updates, returning("UPDATED_NEW")), answer({{"a", textValue("x")}}));
    EXPECT_EQ(update("k", "4", updates, returning("ALL_NEW")), answer({{"a", textValue("x")}, {"h", "k"}, {"r", "4"}}));
}

TEST_F(UpdateItem, NothingForAMissingItemWritesNothing)
{
    put("abc", "1", {});
    for (const char* values : {"NONE", "ALL_OLD", "ALL_NEW", "UPDATED_OLD", "UPDATED_NEW"}) {
        EXPECT_EQ(update("abc", "2", {{"a", Delete}}, returning(values)), okReply());
        EXPECT_EQ(update("abc", "2", {}, returning(values)), okReply());
    }
    EXPECT_EQ(get("abc", "2"), okReply());
    killServer();
    EXPECT_EQ(StoredEnvironment(home()).records("t_98.db", "data"),
              (std::map<QByteArray, QByteArray>{{"0003abc1", "{}"}}));
}

TEST_F(UpdateItem, RemovingTheLastAttributeKeepsTheItem)
{
    put("k", "1", {{"a", textValue("x")}});
    EXPECT_EQ(update("k", "1", {{"a", Delete}}, returning("UPDATED_OLD")), answer({{"a", textValue("x")}}));
    EXPECT_EQ(get("k", "1"), found({}));
    EXPECT_EQ(update("k", "1", {}, returning("ALL_NEW")), okReply()); // an empty answer is none
}

TEST_F(UpdateItem, DeleteRemovesTheWholeAttributeWhateverItsValue)
{
    const QVariantMap set{{"SS", QVariantList{"p", "q"}}};
    put("k", "1", {{"a", set}, {"b", textValue("x")}});
    EXPECT_EQ(
        update("k", "1", {{"a", action("DELETE", QVariantMap{{"SS", QVariantList{"p"}}})}}, returning("UPDATED_OLD")),
        answer({{"a", set}}));
    EXPECT_EQ(get("k", "1"), found({{"b", textValue("x")}}));
}

TEST_F(UpdateItem, OtherActionsLeaveTheAttributeAlone)
{
    put("k", "1", old_);
    const QVariantMap value{{"Value", textValue("never")}};
    for (const QVariant& update_ :
         {QVariant(value), QVariant(merged(value, {{"Action", "put"}})), QVariant(merged(value, {{"Action", "PUT "}})),
          QVariant(merged(value, {{"Action", ""}})), QVariant(merged(value, {{"Action", QVariant()}})),
          QVariant(merged(value, {{"Action", 5LL}})), QVariant(merged(value, {{"Action", QVariantList{"PUT"}}})),
          QVariant(merged(value, {{"action", "PUT"}})), QVariant(), QVariant(5LL), QVariant("PUT"),
          QVariant(QVariantList{value})}) {
        EXPECT_EQ(update("k", "1", {{"a", update_}, {"new", update_}}, returning("UPDATED_NEW")), okReply())
            << Json::serialize(update_).toStdString();
        EXPECT_EQ(get("k", "1"), found(old_));
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(UpdateItem, AttributeUpdatesThatIsNoMapUpdatesNothing)
{
    put("k", "1", old_);
    for (const QVariant& other : {QVariant(), QVariant(5LL), QVariant("x"), QVariant(QVariantList{updates_})})
        EXPECT_EQ(request("UpdateItem",
                          {{"TableName", tableName()}, {"Key", itemKey("k", "1")}, {"AttributeUpdates", other}}),
                  okReply());
    EXPECT_EQ(request("UpdateItem", {{"TableName", tableName()}, {"Key", itemKey("k", "1")}}), okReply());
    EXPECT_EQ(get("k", "1"), found(old_));
}

TEST_F(UpdateItem, PutStoresAnyValueAsItCame)
{
    const QVariantMap values{{"a", QVariantMap{{"SS", QVariantList{"p"}}}},
                             {"b", "bare"},
                             {"c", std::numeric_limits<qulonglong>::max()},
                             {"d", QVariantList{1LL, QVariant()}},
                             {"e", QVariant()}};
    QVariantMap updates{{"missing", QVariantMap{{"Action", "PUT"}}}};
    for (auto it = values.begin(); it != values.end(); ++it)
        updates.insert(it.key(), putValue(it.value()));
    const QVariantMap stored = merged(values, {{"missing", QVariant()}});
    EXPECT_EQ(update("k", "1", updates, returning("UPDATED_NEW")), answer(stored));
    EXPECT_EQ(get("k", "1"), found(stored));
}

TEST_F(UpdateItem, MayStoreAttributesNamedLikeTheKeys)
{
    EXPECT_EQ(update("k", "1", {{"h", putValue(textValue("other"))}}), okReply());
    EXPECT_EQ(get("k", "1"), found({{"h", textValue("other")}}));
    EXPECT_EQ(update("k", "1", {}, returning("ALL_NEW")), answer({{"h", "k"}, {"r", "1"}}));
}

/** ADD of `addend` to a stored "a"; with no result it fails. */
struct AddCase {
    QVariant stored;
    QVariant addend;
    std::optional<QVariantMap> sum;
};

TEST_F(UpdateItem, AddAddsIntegersAndAppendsText)
{
    const QString euro = QString::fromUcs4(U"\u20ac\U0001F600");
    const QVariantMap set{{"SS", QVariantList{"p"}}};
    const std::vector<AddCase> cases{
        {numberValue("-7"), numberValue("5"), numberValue("-2")},
        {numberValue("007"), numberValue("1"), numberValue("8")},
        {numberValue("1.5"), numberValue("2"), numberValue("2")}, // fractions read as 0
        {numberValue("10"), numberValue("2.5"), numberValue("10")},
        {numberValue("text"), numberValue(""), numberValue("0")},
        {numberValue("9223372036854775807"), numberValue("1"), numberValue("-9223372036854775808")},
        {numberValue("-9223372036854775808"), numberValue("-1"), numberValue("9223372036854775807")},
        {QVariantMap{{"N", 5LL}}, QVariantMap{{"N", 6LL}}, numberValue("11")},
        {textValue("ab"), textValue("xy"), textValue("abxy")},
        {textValue(""), textValue(""), textValue("")},
        {textValue(QString::fromLatin1("\xe4")), textValue(QString::fromLatin1("\xff")),
         textValue(QString::fromLatin1("\xe4\xff"))},
        {textValue("a"), textValue(euro), textValue("a" + euro)},
        {textValue(euro), textValue(euro), textValue(euro + euro)},
        {numberValue("1"), textValue("x"), std::nullopt},
        {textValue("x"), numberValue("1"), std::nullopt},
        {set, set, std::nullopt},
        {QVariantMap{{"NS", QVariantList{"1"}}}, numberValue("1"), std::nullopt},
        {QVariantMap{{"B", "AAEC"}}, QVariantMap{{"B", "AAEC"}}, std::nullopt},
        {"bare", textValue("x"), std::nullopt},
        {QVariant(), numberValue("1"), std::nullopt},
        {numberValue("1"), QVariant(), std::nullopt},
        {numberValue("1"), 5LL, std::nullopt},
        {numberValue("1"), QVariantMap{}, std::nullopt},
        {textValue("x"), QVariantList{textValue("x")}, std::nullopt},
    };
    for (const AddCase& c : cases) {
        const std::string what = Json::serialize(c.stored).toStdString() + Json::serialize(c.addend).toStdString();
        put("k", "1", {{"a", c.stored}});
        const QVariantMap reply =
            update("k", "1", {{"a", addValue(c.addend)}, {"b", putValue(textValue("also"))}}, returning("UPDATED_NEW"));
        if (c.sum) {
            const QVariantMap written{{"a", *c.sum}, {"b", textValue("also")}};
            EXPECT_EQ(reply, answer(written)) << what;
            EXPECT_EQ(get("k", "1"), found(written)) << what;
            EXPECT_THAT(takeComplaints(), IsEmpty()) << what;
        } else {
            EXPECT_EQ(reply, notFoundReply()) << what;
            EXPECT_EQ(get("k", "1"), found({{"a", c.stored}})) << what;
            EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # attr missing")) << what;
        }
    }
}

TEST_F(UpdateItem, AddToAMissingAttributeSetsItAsItCame)
{
    const QVariantMap values{
        {"a", numberValue("1.50")}, {"b", QVariantMap{{"SS", QVariantList{"p"}}}}, {"c", QVariant()}};
    put("k", "1", {});
    QVariantMap updates;
    for (auto it = values.begin(); it != values.end(); ++it)
        updates.insert(it.key(), addValue(it.value()));
    EXPECT_EQ(update("k", "1", updates, returning("UPDATED_NEW")), answer(values));
    EXPECT_EQ(get("k", "1"), found(values));
}

TEST_F(UpdateItem, ConditionDecidesWhetherAnythingIsWritten)
{
    const QVariantMap failing{{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("other")}}}}}};
    const QVariantMap holding{{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}};
    put("k", "1", old_);
    for (const char* values : {"NONE", "ALL_OLD", "ALL_NEW", "UPDATED_OLD", "UPDATED_NEW"})
        EXPECT_EQ(update("k", "1", updates_, merged(failing, returning(values))), conditionFailedReply());
    EXPECT_EQ(get("k", "1"), found(old_));
    EXPECT_EQ(update("k", "1", updates_, holding), okReply());
    EXPECT_EQ(get("k", "1"), found(new_));

    EXPECT_EQ(update("none", "1", updates_, failing), conditionFailedReply());
    EXPECT_EQ(get("none", "1"), okReply());
    EXPECT_EQ(update("none", "1", {{"a", putValue(textValue("x"))}},
                     {{"Expected", QVariantMap{{"a", QVariantMap{{"Exists", false}}}}}}),
              okReply());
    EXPECT_EQ(get("none", "1"), found({{"a", textValue("x")}}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(UpdateItem, MalformedConditionIsAnInternalError)
{
    put("k", "1", old_);
    for (const QVariant& condition : {QVariant(), QVariant(5LL), QVariant("x"), QVariant(QVariantMap())}) {
        EXPECT_EQ(
            update("k", "1", updates_, merged(returning("ALL_NEW"), {{"Expected", QVariantMap{{"a", condition}}}})),
            internalErrorReply());
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # attr missing", composeError(2)));
    }
    EXPECT_EQ(update("k", "1", updates_, {{"Expected", "no map"}}), okReply());
    EXPECT_EQ(get("k", "1"), found(new_));
}

/** Only ALL_NEW and ALL_OLD read the schema, after the update, and only for its names. */
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
