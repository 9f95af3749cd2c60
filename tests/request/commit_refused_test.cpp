#include "commitfixture.h"

#include "support/directorycontents.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const QVariantMap One{{"n", QVariantMap{{"N", "1"}}}};

class CommitRefused : public CommitTest {
protected:
    /** Sends a Commit whose second entry is the given one, and expects that it is refused as invalid. */
    void expectInvalid(const QVariant& entry, const QString& reason)
    {
        EXPECT_EQ(commit({putEntry("k", "first", One), entry}), invalid("Entry 1: " + reason))
            << Json::serialize(entry).toStdString();
        EXPECT_EQ(get("k", "first"), okReply());
    }
};

TEST_F(CommitRefused, WithoutEntries)
{
    for (const QVariant& entries : QVariantList{QVariant(), QVariantList(), QVariantMap(), "x", 5})
        EXPECT_EQ(request("Quorva_1.Commit", {{"Entries", entries}}), invalid("\"Entries\" is missing or empty."));
    EXPECT_EQ(request("Quorva_1.Commit", {}), invalid("\"Entries\" is missing or empty."));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CommitRefused, WithoutATableName)
{
    for (const QVariant& entry : QVariantList{QVariant(), "x", 5, QVariantList(), QVariantMap()})
        expectInvalid(entry, "\"TableName\" is missing.");
}

TEST_F(CommitRefused, WithoutExactlyOneAction)
{
    const QString reason = "one of \"Put\": {...}, \"Delete\": true and \"Check\": true is required.";
    for (const QVariantMap& actions : std::vector<QVariantMap>{{},
                                                               {{"put", One}},
                                                               {{"Put", One}, {"Delete", true}},
                                                               {{"Delete", true}, {"Check", true}},
                                                               {{"Put", One}, {"Check", true}},
                                                               {{"Delete", false}},
                                                               {{"Delete", "true"}},
                                                               {{"Delete", QVariantMap()}},
                                                               {{"Check", 1}},
                                                               {{"Check", QVariant()}}})
        expectInvalid(entry("k", "1", actions), reason);
}

TEST_F(CommitRefused, WithAnExpectationInAnotherForm)
{
    const QString reason = "\"Expected\" must be {\"Item\": {...}} or {\"Exists\": false}.";
    for (const QVariant& expected :
         QVariantList{QVariant(), QVariantMap(), "x", false, One, QVariantMap{{"Exists", true}},
                      QVariantMap{{"Exists", "false"}}, QVariantMap{{"Item", "x"}}, QVariantMap{{"Item", QVariant()}},
                      QVariantMap{{"Item", QVariantList()}}, QVariantMap{{"Item", One}, {"Exists", false}},
                      QVariantMap{{"Item", QVariant()}, {"Exists", false}}})
        expectInvalid(entry("k", "1", {{"Delete", true}, {"Expected", expected}}), reason);
    expectInvalid(entry("k", "1", {{"Check", true}}), "\"Check\" requires \"Expected\".");
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CommitRefused, WithoutAWholeKey)
{
    const QString reason = "\"Key\" must have \"HashKeyElement\" and \"RangeKeyElement\", each {\"S\": ...} with "
                           "characters of Latin-1.";
    for (const QVariant& key :
         QVariantList{QVariant(), "x", QVariantMap{{"HashKeyElement", textValue("k")}},
                      QVariantMap{{"HashKeyElement", textValue("k")}, {"RangeKeyElement", numberValue("1")}},
                      itemKey("k", QString(u'✓'))})
        expectInvalid(merged(deleteEntry("k", "1"), {{"Key", key}}), reason);
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[ERROR] bdbrequest # hash key missing", "[ERROR] bdbrequest # hash key missing",
                            "[ERROR] bdbrequest # range key missing", "[ERROR] bdbrequest # wrong range-key",
                            "[ERROR] bdbrequest # key holds a character outside Latin-1"));
}

TEST_F(CommitRefused, PuttingWhatIsNoItemWithoutKeys)
{
    const QString reason = "\"Put\" must be an object without the table's key attributes.";
    for (const QVariant& item : QVariantList{QVariant(), "x", 5, QVariantList(), merged(One, {{"h", textValue("k")}}),
                                             merged(One, {{"r", numberValue("1")}}), QVariantMap{{"h", 2.50}}})
        expectInvalid(entry("k", "1", {{"Put", item}}), reason);
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CommitRefused, PuttingValuesWithoutAType)
{
    const QString reason = "the value of attribute \"a\" must be an object with its type, such as {\"S\": \"...\"}.";
    Caller caller(server_);
    const auto putText = [&](const char* item) {
        return caller.requestText("Quorva_1.Commit",
                                  "{\"Entries\":[" + Json::serialize(putEntry("k", "first", One)) +
                                      ",{\"TableName\":\"" + tableName().toUtf8() +
                                      R"(","Key":{"HashKeyElement":{"S":"k"},"RangeKeyElement":{"S":"1"}},"Put":)" +
                                      item + "}]}");
    };
    for (const char* item :
         {R"({"a":"x"})", R"({"a":5})", R"({"a":2.5})", R"({"a":true})", R"({"a":null})", R"({"a":["x"]})",
          R"({"a":{}})", R"({"a":{"":"x"}})", R"({"a":{"s":"x"}})", R"({"a":{"S":"x","N":"1"}})", R"({"a":{"S1":"x"}})",
          R"({"a":{"ß":"x"}})", R"({"Z":{"S":"x"},"a":"x"})", R"({"b":{"S":"x"}, "a" : "x"})"}) {
        EXPECT_EQ(putText(item), invalid("Entry 1: " + reason)) << item;
        EXPECT_EQ(get("k", "first"), okReply());
    }
    for (const char* item :
         {R"({})", R"({"a":{"BOOL":true},"b":{"NULL":true},"c":{"M":{"d":{"L":[{"N":"1"},{"S":""}]}}},"d":{"L":[]}})",
          R"({"a":{"M":{}},"b":{"SS":["x"]},"c":{"NS":["1"]},"d":{"BS":["eA=="]},"e":{"B":"eA=="},"f":{"Z":"packed"}})",
          R"({ "a" : {"L" : [{"M": {"x": {"NULL": true}}}]} })"}) {
        EXPECT_EQ(putText(item), okReply()) << item;
        QVariant sent;
        ASSERT_TRUE(Json::parse(item, &sent));
        EXPECT_EQ(get("k", "1"), found(sent.toMap()));
        EXPECT_EQ(remove("k", "first").value("__rc"), QVariant(200LL));
    }
    const int deep = 200;
    const QByteArray nested =
        R"({"a":)" + QByteArray(R"({"L":[)").repeated(deep) + QByteArray("]}").repeated(deep) + "}";
    EXPECT_EQ(putText(nested.constData()), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CommitRefused, PuttingWhatCannotBeReadBack)
{
    const auto itemOf = [](qsizetype bytes) { // of JSON
        return QVariantMap{{"a", textValue(QString(bytes - qsizetype(sizeof R"({"a":{"S":""}})" - 1), u'x'))}};
    };
    const QVariantMap largest = itemOf(524288);
    expectInvalid(putEntry("k", "1", itemOf(524289)),
                  "the item has 524289 bytes of JSON, and more than 524288 cannot be read back.");
    EXPECT_EQ(commit({putEntry("k", "1", largest)}), okReply());
    EXPECT_EQ(get("k", "1"), found(largest));
    EXPECT_EQ(request("Query", {{"TableName", tableName()}, {"HashKeyValue", textValue("k")}}).value("Count"),
              QVariant(1LL));
    const QVariantMap wide{{"a", textValue(QString(262'140, u'\u00e4'))}}; // two bytes each
    expectInvalid(putEntry("k", "2", wide),
                  "the item has 524294 bytes of JSON, and more than 524288 cannot be read back.");
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(CommitRefused, NamingAnItemTwice)
{
    expectInvalid(deleteEntry("k", "first"), "it names the same item as entry 0.");
    expectInvalid(checkEntry("k", "first", NoItem), "it names the same item as entry 0.");
    createTable(tableName("u"));
    EXPECT_EQ(commit({putEntry("k", "1", One), merged(putEntry("k", "1", One), {{"TableName", tableName("u")}})}),
              okReply());
}

TEST_F(CommitRefused, InSeveralDirectories)
{
    const QString reason = "its directory is not that of entry 0. All tables must be in one, spelled alike.";
    const std::string other = makeDirectory("other");
    createTable(tableIn(other));
    expectInvalid(merged(putEntry("k", "1", One), {{"TableName", tableIn(other)}}), reason);
    expectInvalid(merged(putEntry("k", "1", One), {{"TableName", tableIn(home() + "/.")}}), reason);
    EXPECT_THAT(takeComplaints(), IsEmpty());
    // No access lock is left behind: this would wait for it.
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(other)}}), okReply());
}

TEST_F(CommitRefused, ToATableThatWasNotCreated)
{
    EXPECT_EQ(commit({putEntry("k", "1", One), merged(deleteEntry("k", "2"), {{"TableName", tableName("none")}})}),
              notFoundReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # schema load failed rc 3"));
    EXPECT_EQ(get("k", "1"), okReply());
}

TEST_F(CommitRefused, InADirectoryThatDoesNotExist)
{
    const std::string missing = home() + "/missing";
    EXPECT_EQ(commit({merged(putEntry("k", "1", One), {{"TableName", tableIn(missing)}})}), notFoundReply());
    EXPECT_EQ(takeComplaints().size(), 1U); // that the environment cannot be opened
    EXPECT_THAT(namesIn(missing), IsEmpty());
}

TEST_F(CommitRefused, ToANameThatNoTableCanHave)
{
    EXPECT_EQ(commit({merged(putEntry("k", "1", One), {{"TableName", tableName("../t")}})}), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to open DB dbpath: ../t dbname meta rc 22 flags 289",
                                              composeError(12)));
}

} // namespace
