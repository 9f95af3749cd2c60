#include "commitfixture.h"

#include "request/storedenvironment.h"
#include "scanqueryfixture.h"

namespace {

using testing::IsEmpty;

const QVariantMap One{{"n", QVariantMap{{"N", "1"}}}};
const QVariantMap Two{{"n", QVariantMap{{"N", "2"}}}};

class Commit : public CommitTest {
protected:
    /** The file of the items of hash key "q". */
    static std::string fileOfQ() { return dataFile(partitionOfHash("q")); }
};

TEST_F(Commit, PutsAndDeletesWhatIsAsExpected)
{
    put("k", "changed", One);
    put("k", "deleted", One);
    put("other", "any", One);
    EXPECT_EQ(commit({putEntry("k", "changed", Two, expectedItem(One)), deleteEntry("k", "deleted", expectedItem(One)),
                      putEntry("k", "new", One, NoItem), putEntry("other", "any", Two),
                      checkEntry("k", "missing", NoItem), deleteEntry("k", "missing too")}),
              okReply());
    EXPECT_EQ(get("k", "changed"), found(Two));
    EXPECT_EQ(get("k", "deleted"), okReply());
    EXPECT_EQ(get("k", "new"), found(One));
    EXPECT_EQ(get("other", "any"), found(Two));
    EXPECT_EQ(get("k", "missing"), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(Commit, WritesNothingIfOneEntryIsNotAsExpectedAndReturnsThePresentItems)
{
    put("k", "1", One);
    put("k", "2", One);
    EXPECT_EQ(commit({putEntry("k", "1", Two, expectedItem(One)), putEntry("k", "2", Two, NoItem),
                      deleteEntry("k", "3", expectedItem(One)), putEntry("j", "4", Two),
                      checkEntry("k", "5", expectedItem({}))}),
              mismatched({mismatch(1, One), mismatch(2), mismatch(4)}));
    EXPECT_EQ(get("k", "1"), found(One));
    EXPECT_EQ(get("k", "2"), found(One));
    EXPECT_EQ(get("j", "4"), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(Commit, ACheckAloneWritesNothing)
{
    put("k", "1", One);
    EXPECT_EQ(commit({checkEntry("k", "1", expectedItem(One))}), okReply());
    EXPECT_EQ(commit({checkEntry("k", "1", expectedItem(Two))}), mismatched({mismatch(0, One)}));
    EXPECT_EQ(commit({checkEntry("k", "1", NoItem)}), mismatched({mismatch(0, One)}));
    EXPECT_EQ(get("k", "1"), found(One));
}

TEST_F(Commit, AnItemWithoutAttributesExists)
{
    put("k", "1", {});
    EXPECT_EQ(get("k", "1"), found({}));
    EXPECT_EQ(commit({checkEntry("k", "1", NoItem)}), mismatched({mismatch(0, {})}));
    EXPECT_EQ(commit({putEntry("k", "1", One, expectedItem({}))}), okReply());
    EXPECT_EQ(commit({putEntry("k", "1", {}, expectedItem(One))}), okReply());
    EXPECT_EQ(get("k", "1"), found({}));
}

TEST_F(Commit, TablesOfOneDirectoryAreWrittenTogether)
{
    createTable(tableName("u"));
    QVariantMap there = putEntry("k", "1", Two, NoItem);
    there.insert("TableName", tableName("u"));
    EXPECT_EQ(commit({putEntry("k", "1", One, expectedItem(Two)), there}), mismatched({mismatch(0)}));
    EXPECT_EQ(commit({putEntry("k", "1", One, NoItem), there}), okReply());
    EXPECT_EQ(get("k", "1"), found(One));
    EXPECT_EQ(request("GetItem", {{"TableName", tableName("u")}, {"Key", itemKey("k", "1")}}), found(Two));
}

/** Texts that are equal in several ways of writing, and some that are nearly equal. */
TEST_F(Commit, ExpectedIsTheItemAsGetItemReturnsItWhateverItsSpelling)
{
    const QByteArray stored =
        R"({"a":{"S":"ä/\"\n"},"f":0.1,"i":12345678901234567890,"l":[1,null,true,{"b":{},"c":[]}]})";
    const QByteArray front = "{\"TableName\": \"" + tableName().toUtf8() +
                             R"(", "Key": {"HashKeyElement": {"S": "k"}, "RangeKeyElement": {"S": "1"}}, )";
    const auto commitText = [&](const QByteArray& members) {
        Caller caller(server_);
        return caller.requestText("Quorva_1.Commit", "{\"Entries\": [" + front + members + "}]}");
    };
    Caller caller(server_); // a PutItem takes any JSON
    EXPECT_EQ(caller
                  .requestText("PutItem", "{\"TableName\":\"" + tableName().toUtf8() +
                                              R"(","Item":{"h":{"S":"k"},"r":{"S":"1"},)" + stored.sliced(1) + "}")
                  .value("__rc"),
              QVariant(200LL));
    for (const QByteArray& same :
         {stored,
          QByteArray(R"({"l" : [1, null, true, {"c":[], "b":{}}], "i":12345678901234567890,)"
                     "\n"
                     R"("f":1e-1,"a":{"S":"\u00e4\/\u0022\u000a"}})"),
          QByteArray(
              R"({"f":2,"l":[1,null,true,{"b":{},"c":[]}],"i":12345678901234567890,"f":0.1,"a":{"S":"ä/\"\n"}})")})
        EXPECT_EQ(commitText("\"Check\": true, \"Expected\": {\"Item\": " + same + "}"), okReply())
            << same.toStdString();
    const std::vector<std::pair<const char*, const char*>> changes{
        {"ä", "Ä"}, {"0.1", "0.2"}, {"90,", "91,"}, {"[1,", "[1.0,"}, {"true", "false"}, {"\"c\":[]", "\"c\":{}"}};
    for (const auto& [from, to] : changes) {
        const QByteArray other = QByteArray(stored).replace(from, to);
        ASSERT_NE(other, stored);
        EXPECT_EQ(commitText("\"Check\": true, \"Expected\": {\"Item\": " + other + "}").value("__type"),
                  "ConditionalCheckFailedException")
            << other.toStdString();
    }
    EXPECT_EQ(commitText("\"Put\": {}, \"Expected\": {\"Item\": " + stored + "}"), okReply());
}

TEST_F(Commit, StoresWhatPutItemStores)
{
    const QVariantMap attributes{{"s", textValue("x")},
                                 {"n", numberValue("1.50")},
                                 {"ss", QVariantMap{{"SS", QStringList{"b", "a"}}}},
                                 {"odd", QVariantMap{{"L", QVariantList{1, 2.5, true, QVariant(), "x"}}}}};
    put("q", "1", attributes);
    EXPECT_EQ(commit({putEntry("q", "2", attributes)}), okReply());
    Caller caller(server_);
    const QByteArray entry = "{\"TableName\":\"" + tableName().toUtf8() +
                             R"(","Key":{"HashKeyElement":{"S":"q"},"RangeKeyElement":{"S":"3"}},"Put": )" +
                             Json::serialize(attributes).replace(':', ": ") + "}";
    EXPECT_EQ(caller.requestText("Quorva_1.Commit", "{\"Entries\":[" + entry + "]}"), okReply());
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply()); // closes its files
    const auto records = StoredEnvironment(home()).records(fileOfQ(), "data");
    ASSERT_EQ(records.size(), 3U);
    for (const char* key : {"0001q1", "0001q2", "0001q3"})
        EXPECT_EQ(records.at(key), Json::serialize(attributes)) << key;
}

TEST_F(Commit, ATextThatAnotherProgramStoredIsExpectedAsItIsRead)
{
    put("q", "1", One);
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    const QByteArray odd = R"({ "z": {"S":"\u0041"}, "n" : {"N": "1"} })";
    StoredEnvironment(home()).put(fileOfQ(), "data", "0001q1", odd);
    const QVariantMap read = get("q", "1").value("Item").toMap();
    EXPECT_EQ(read, (QVariantMap{{"n", numberValue("1")}, {"z", textValue("A")}}));
    EXPECT_EQ(commit({putEntry("q", "1", Two, expectedItem(One))}), mismatched({mismatch(0, read)}));
    EXPECT_EQ(commit({putEntry("q", "1", Two, expectedItem(read))}), okReply());
    EXPECT_EQ(get("q", "1"), found(Two));
}

TEST_F(Commit, AStoredTextThatIsNoItemIsAnErrorUnlessAnythingIsExpected)
{
    put("q", "1", One);
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    StoredEnvironment(home()).put(fileOfQ(), "data", "0001q1", "no JSON");
    EXPECT_EQ(commit({putEntry("q", "0", Two), putEntry("q", "1", Two, expectedItem(One))}), internalErrorReply());
    EXPECT_EQ(takeComplaints(), (std::vector<std::string>{"[ERROR] bdbrequest # parser failed", composeError(2)}));
    EXPECT_EQ(get("q", "0"), okReply());
    EXPECT_EQ(commit({putEntry("q", "1", Two)}), okReply());
    EXPECT_EQ(get("q", "1"), found(Two));
}

TEST_F(Commit, LargeItemsAreComparedAndReturnedWhole)
{
    const QVariantMap large{{"a", textValue(QString(250000, u'ä'))}}; // as large as can be read, nearly
    EXPECT_EQ(commit({putEntry("k", "2", large, NoItem)}), okReply());
    EXPECT_EQ(commit({putEntry("k", "2", One, expectedItem(One))}), mismatched({mismatch(0, large)}));
    EXPECT_EQ(commit({putEntry("k", "2", One, expectedItem(large))}), okReply());
    EXPECT_EQ(get("k", "2"), found(One));
}

TEST_F(Commit, ManyEntriesAreOneTransaction)
{
    constexpr int Items = 400;
    const QVariantMap count{
        {"TableName", tableName()}, {"HashKeyValue", textValue("k")}, {"Count", true}, {"Limit", 1000}};
    QVariantList entries;
    for (int i = 0; i < Items; ++i)
        entries.append(putEntry("k", QString::number(i), One, NoItem));
    entries.append(checkEntry("other", "r", expectedItem(One)));
    EXPECT_EQ(commit(entries), mismatched({mismatch(Items)}));
    EXPECT_EQ(request("Query", count).value("Count"), 0);
    entries.removeLast();
    EXPECT_EQ(commit(entries), okReply());
    EXPECT_EQ(request("Query", count).value("Count"), Items);
    EXPECT_EQ(commit(entries).value("Mismatches").toList().size(), Items);
}

TEST_F(Commit, AcknowledgedCommitsSurviveACrash)
{
    EXPECT_EQ(commit({putEntry("k", "1", One, NoItem), putEntry("j", "1", One, NoItem)}), okReply());
    for (int crash = 0; crash < 3; ++crash) {
        restartServer();
        EXPECT_EQ(commit({putEntry("k", "1", Two, expectedItem(One)), deleteEntry("j", "1", expectedItem(One))}),
                  okReply());
        restartServer();
        EXPECT_EQ(get("k", "1"), found(Two));
        EXPECT_EQ(get("j", "1"), okReply());
        EXPECT_EQ(commit({putEntry("k", "1", One, expectedItem(Two)), putEntry("j", "1", One, NoItem)}), okReply());
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

} // namespace
