/* Tables and items that come from the API of 2011-12-05 or the wire protocol, and the other way round. */
#include "itemfixture.h"

#include "protocol/bodies.h"

namespace {

class ApiOldTables : public ApiItems {
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(ApiItems::SetUp());
        EXPECT_EQ(server_.request("CreateTable", Bodies::createTable(real("old"), "id", "ax")).value("__rc"), 200);
    }

    QString real(const std::string& table) const { return QString::fromStdString(directory_.path() + '|' + table); }

    static QVariantMap text(const QString& value) { return {{"S", value}}; }

    /** Puts an item over the wire. */
    void putOld(const std::string& table, const QString& id, const QString& at, QVariantMap attributes)
    {
        attributes.insert("id", text(id));
        attributes.insert("ax", text(at));
        EXPECT_EQ(server_.request("PutItem", Bodies::putItem(real(table), attributes)).value("__rc"), 200);
    }

    std::string getOld(const std::string& table, const QString& id, const QString& at)
    {
        return Json::serialize(server_.request("GetItem", Bodies::itemByKey(real(table), id, at)).value("Item"))
            .toStdString();
    }

    static std::string old(const std::string& rest) { return R"({"TableName":"old",)" + rest + '}'; }
    static std::string oldKey(const std::string& id, const std::string& at)
    {
        return R"("Key":{"id":{"S":")" + id + R"("},"ax":{"S":")" + at + "\"}}";
    }
};

} // namespace

TEST_F(ApiOldTables, ItemsOfTheOldApiAreRead)
{
    putOld(
        "old", "größe", "1",
        {{"n", QVariantMap{{"N", "0017.50"}}}, {"t", text("✓")}, {"s", QVariantMap{{"SS", QVariantList{"b", "a"}}}}});
    const std::string item =
        R"({"ax":{"S":"1"},"id":{"S":"größe"},"n":{"N":"17.5"},"s":{"SS":["a","b"]},"t":{"S":"✓"}})";
    EXPECT_EQ(done("GetItem", old(oldKey("größe", "1"))), "{\"Item\":" + item + '}');
    EXPECT_EQ(done("Query", old(R"-("KeyConditionExpression":"id = :v AND begins_with(ax, :p)",)-"
                                R"("ExpressionAttributeValues":{":v":{"S":"größe"},":p":{"S":"1"}})")),
              R"({"Count":1,"Items":[)" + item + R"(],"ScannedCount":1})");
    EXPECT_EQ(done("Query", old(R"-("KeyConditionExpression":"id = :v AND begins_with(ax, :p)",)-"
                                R"("ExpressionAttributeValues":{":v":{"S":"größe"},":p":{"S":""}})")),
              R"({"Count":1,"Items":[)" + item + R"(],"ScannedCount":1})")
        << "range keys may be empty there";
    EXPECT_EQ(done("Scan", old(R"("Limit":1)")),
              R"({"Count":1,"Items":[)" + item +
                  R"(],"LastEvaluatedKey":{"ax":{"S":"1"},"id":{"S":"größe"}},"ScannedCount":1})");
}

TEST_F(ApiOldTables, ItemsOfTheOldApiAreChanged)
{
    putOld("old", "a", "1", {{"n", QVariantMap{{"N", "010"}}}, {"t", text("x")}});
    EXPECT_EQ(done("UpdateItem",
                   old(oldKey("a", "1") + R"(,"UpdateExpression":"SET n = n + :n",)"
                                          R"("ConditionExpression":"n = :ten",)"
                                          R"("ExpressionAttributeValues":{":n":{"N":"0.5"},":ten":{"N":"10"}})")),
              "{}");
    EXPECT_EQ(getOld("old", "a", "1"), R"({"n":{"N":"10.5"},"t":{"S":"x"}})");
    EXPECT_EQ(done("DeleteItem", old(oldKey("a", "1") + R"(,"ReturnValues":"ALL_OLD")")),
              R"({"Attributes":{"ax":{"S":"1"},"id":{"S":"a"},"n":{"N":"10.5"},"t":{"S":"x"}}})");
    EXPECT_EQ(getOld("old", "a", "1"), "null");
}

TEST_F(ApiOldTables, ItemsAreShownToTheOldApi)
{
    (void)done("PutItem",
               old(R"("Item":{"id":{"S":"é"},"ax":{"S":"1"},"n":{"N":"1.50"},"m":{"M":{"x":{"BOOL":true}}}})"));
    EXPECT_EQ(getOld("old", "é", "1"), R"({"m":{"M":{"x":{"BOOL":true}}},"n":{"N":"1.5"}})")
        << "the old API passes on the types that it does not know";
    const QVariantMap add = Bodies::update(Bodies::UpdateAdd, {{"N", "2"}});
    EXPECT_EQ(server_.request("UpdateItem", Bodies::updateItem(real("old"), "é", "1", {{"c", add}})).value("__rc"),
              200);
    EXPECT_EQ(done("GetItem", old(oldKey("é", "1") + R"(,"ProjectionExpression":"c, m")")),
              R"({"Item":{"c":{"N":"2"},"m":{"M":{"x":{"BOOL":true}}}}})");
}

TEST_F(ApiOldTables, KeysOutsideOfLatin1AreRefusedThere)
{
    const std::string refused =
        "ValidationException: One or more parameter values were invalid: The key id can only have "
        "the characters U+0001 to U+00FF, as the table was made through the API of 2011-12-05";
    EXPECT_EQ(failed("PutItem", old(R"("Item":{"id":{"S":"✓"},"ax":{"S":"1"}})")), refused);
    EXPECT_EQ(failed("GetItem", old(oldKey("✓", "1"))), refused);
    EXPECT_EQ(done("PutItem", put("✓", "1")), "{}") << "tables of this API have such keys";
    EXPECT_EQ(attributesOf("✓", "1"), "{}");
}

TEST_F(ApiOldTables, EmptyRangeKeysOfTheOldApiAreRead)
{
    putOld("old", "a", "", {{"n", QVariantMap{{"N", "1"}}}});
    putOld("old", "a", "1", {});
    EXPECT_EQ(done("GetItem", old(oldKey("a", ""))), R"({"Item":{"ax":{"S":""},"id":{"S":"a"},"n":{"N":"1"}}})");
    const std::string query = R"("KeyConditionExpression":"id = :v","ExpressionAttributeValues":{":v":{"S":"a"}},)"
                              R"("ProjectionExpression":"ax","Limit":1)";
    EXPECT_EQ(done("Query", old(query)), R"({"Count":1,"Items":[{"ax":{"S":""}}],"LastEvaluatedKey":{"ax":{"S":""},)"
                                         R"("id":{"S":"a"}},"ScannedCount":1})");
    EXPECT_EQ(
        parsed(done("Query", old(query + R"(,"ExclusiveStartKey":{"ax":{"S":""},"id":{"S":"a"}})"))).value("Items"),
        QVariant(QVariantList{QVariantMap{{"ax", text("1")}}}));
}

TEST_F(ApiOldTables, ItemsThatAreNoneOfThisApiAreErrors)
{
    putOld("old", "a", "o'1", {{"n", QVariantMap{{"N", "no number"}}}});
    putOld("old", "a", "p", {});
    const std::string error = failed("GetItem", old(oldKey("a", "o'1")));
    EXPECT_TRUE(error.starts_with("ValidationException: The table old has an item that this API cannot show: "))
        << error;
    const std::string key = R"({"ax":{"S":"o'1"},"id":{"S":"a"}})";
    EXPECT_TRUE(error.ends_with(". Its key is " + key +
                                ", to be used as ExclusiveStartKey or to replace or delete it; "
                                "or: quorvactl delete '" +
                                real("old").toStdString() + "' -- 'a' 'o'\\''1'"))
        << error;
    const std::string query = R"("KeyConditionExpression":"id = :v","ExpressionAttributeValues":{":v":{"S":"a"}})";
    EXPECT_EQ(failed("Scan", old(R"("Limit":1)")), error);
    EXPECT_EQ(failed("Query", old(query)), error);
    const std::string onward = R"("ExclusiveStartKey":)" + key;
    const std::string rest = R"({"Count":1,"Items":[{"ax":{"S":"p"},"id":{"S":"a"}}],"ScannedCount":1})";
    EXPECT_EQ(done("Scan", old(onward)), rest);
    EXPECT_EQ(done("Query", old(query + ',' + onward)), rest);
    EXPECT_EQ(done("DeleteItem", old("\"Key\":" + key)), "{}") << "it can be deleted, and replaced";
    EXPECT_EQ(done("Scan", old(R"("Limit":10)")), rest);
}

TEST_F(ApiOldTables, ItemsUnderKeysThatAreNoneOfThisApiAreErrorsThatSayHowToDeleteThem)
{
    putOld("items", "a", "no number", {});
    const std::string error =
        "ValidationException: The table items has an item whose keys are none of this API: \"a\", \"no number\". To "
        "delete it: quorvactl delete '" +
        real("items").toStdString() + "' -- 'a' 'no number'";
    EXPECT_EQ(failed("Scan", body(R"("Limit":1)")), error);
    putOld("old", "", "1", {});
    EXPECT_EQ(failed("Scan", old(R"("Limit":1)")),
              "ValidationException: The table old has an item whose keys are none of this API: \"\", \"1\". To delete "
              "it: quorvactl delete '" +
                  real("old").toStdString() + "' -- '' '1'");
}

TEST_F(ApiOldTables, AnotherRangeKeyInATableWithoutOneIsNoneOfThisApi)
{
    createTable("plain", "S", "");
    EXPECT_EQ(done("PutItem", R"({"TableName":"plain","Item":{"id":{"S":"a"}}})"), "{}");
    EXPECT_EQ(done("Scan", R"({"TableName":"plain","Limit":5})"),
              R"({"Count":1,"Items":[{"id":{"S":"a"}}],"ScannedCount":1})");
    const QVariantMap other{{"id", text("a")}, {"", text("other")}};
    ASSERT_EQ(server_.request("PutItem", Bodies::putItem(real("plain"), other)).value("__rc"), 200);
    const std::string error =
        "ValidationException: The table plain has an item whose keys are none of this API: \"a\", \"other\". To "
        "delete it: quorvactl delete '" +
        real("plain").toStdString() + "' -- 'a' 'other'";
    // A page that ended after it would lead to itself.
    EXPECT_EQ(failed("Scan", R"({"TableName":"plain","Limit":1,"ExclusiveStartKey":{"id":{"S":"a"}}})"), error);
    EXPECT_EQ(failed("Query", R"({"TableName":"plain","KeyConditionExpression":"id = :v",)"
                              R"("ExpressionAttributeValues":{":v":{"S":"a"}}})"),
              error);
    EXPECT_EQ(done("GetItem", R"({"TableName":"plain","Key":{"id":{"S":"a"}}})"), R"({"Item":{"id":{"S":"a"}}})");
}

TEST_F(ApiOldTables, TheOldApiReadsTablesOfThisApi)
{
    (void)done("PutItem", put("a", "5", R"("t":{"S":"x"})"));
    const QVariantMap reply = server_.request("Query", Bodies::query(real("items"), "a"));
    ASSERT_EQ(reply.value("Count"), QVariant(1LL));
    const QVariantMap item = reply.value("Items").toList().value(0).toMap();
    EXPECT_EQ(item.value("id"), QVariant(text("a")));
    EXPECT_EQ(item.value("t"), QVariant(text("x")));
    const QString at = item.value("ax").toMap().value("S").toString();
    EXPECT_FALSE(at.isEmpty()) << "a number as a key is shown in its encoding";
    putOld("items", "a", at, {{"t", text("y")}});
    EXPECT_EQ(attributesOf("a", "5"), R"({"t":{"S":"y"}})");
}
