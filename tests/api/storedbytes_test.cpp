/* However an item is written, the server stores the same bytes, which Commit compares with. */
#include "itemfixture.h"

#include <random>

namespace {

const std::string Range = "-"; // the range key of a table with a hash key alone

class ApiStoredBytes : public ApiItems {
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(ApiItems::SetUp());
        createTable("plain", "S", "");
    }

    std::string stored(const std::string& id) const { return storedText("plain", id, Range); }

    static std::string plainItem(const std::string& id, const std::string& attributes)
    {
        return R"({"id":{"S":")" + id + "\"}" + (attributes.empty() ? "" : ',' + attributes) + '}';
    }

    /** Writes the item in each way, each under a key of its own, and compares the bytes. */
    void expectSameBytes(const std::string& attributes)
    {
        const std::string table = R"({"TableName":"plain",)";
        (void)done("PutItem", table + "\"Item\":" + plainItem("put", attributes) + '}');
        const std::string expected = stored("put");
        ASSERT_NE(expected, "");

        (void)done("PutItem", table + "\"Item\":" + plainItem("commit", attributes) +
                                  R"-(,"ConditionExpression":"attribute_not_exists(id)"})-");
        EXPECT_EQ(stored("commit"), expected);

        (void)done("PutItem", table + "\"Item\":" + plainItem("replaced", R"("old":{"N":"1"})") + '}');
        (void)done("PutItem",
                   table + "\"Item\":" + plainItem("replaced", attributes) + R"(,"ReturnValues":"ALL_OLD"})");
        EXPECT_EQ(stored("replaced"), expected);

        (void)done("BatchWriteItem",
                   R"({"RequestItems":{"plain":[{"PutRequest":{"Item":)" + plainItem("batch", attributes) + "}}]}}");
        EXPECT_EQ(stored("batch"), expected);

        // An update that changes nothing stores all of the item again, on condition that it is what was stored.
        for (const char* id : {"put", "commit", "replaced", "batch"}) {
            (void)done("UpdateItem", table + R"("Key":{"id":{"S":")" + id + R"("}},"UpdateExpression":"REMOVE nope"})");
            EXPECT_EQ(stored(id), expected) << id;
        }
    }
};

} // namespace

TEST_F(ApiStoredBytes, AreTheSameForUsualItems)
{
    expectSameBytes(R"("name":{"S":"x"},"count":{"N":"17"},"zone":{"L":[{"S":"a"},{"N":"1"}]},"BIG":{"BOOL":true})");
}

TEST_F(ApiStoredBytes, AreTheSameForItemsOfKeysAlone)
{
    expectSameBytes("");
    EXPECT_EQ(stored("put"), "{}");
}

TEST_F(ApiStoredBytes, AreTheSameForValuesThatHaveSeveralSpellings)
{
    expectSameBytes(R"("n":{"N":"0017.50"},"e":{"N":"1E+20"},"s":{"SS":["b","a"]},"t":{"NS":["10","9.0"]},)"
                    R"("u":{"S":"\u0041\/\u00e9\ud834\udd1e"},"m":{"M":{"z":{"NULL":true},"a":{"B":"AP8="}}})");
    EXPECT_EQ(stored("put"), R"({"e":{"N":"100000000000000000000"},"m":{"M":{"a":{"B":"AP8="},"z":{"NULL":true}}},)"
                             R"("n":{"N":"17.5"},"s":{"SS":["a","b"]},"t":{"NS":["9","10"]},"u":{"S":"A/é𝄞"}})");
}

TEST_F(ApiStoredBytes, AreTheSameForUnusualNamesAndCharacters)
{
    expectSameBytes(
        R"("größe":{"S":"\u0000\u0001\u001f\"\\\n\u007f"},"𝄞":{"S":"x"},"\uffff":{"S":"y"},"a\"b":{"N":"1"},)"
        R"("\u0001":{"S":""},"hi":{"S":"between"},"ie":{"S":"behind the key"},"HashKeyElement":{"S":"h"})");
}

TEST_F(ApiStoredBytes, AreTheSameForPackedItems)
{
    std::minstd_rand random(7);
    std::string bytes;
    for (int i = 0; i < 400'000; ++i)
        bytes += static_cast<char>(random() >> 8);
    expectSameBytes(R"("b":{"B":")" + QByteArray::fromStdString(bytes).toBase64().toStdString() + "\"}");
    EXPECT_TRUE(stored("put").starts_with(R"({"Packed)")) << stored("put").substr(0, 100);
    EXPECT_EQ(parsed(done("GetItem", R"({"TableName":"plain","Key":{"id":{"S":"batch"}}})"))
                  .value("Item")
                  .toMap()
                  .value("b")
                  .toMap()
                  .value("B")
                  .toByteArray(),
              QByteArray::fromStdString(bytes).toBase64());
}
