#include "itemfixture.h"

#include <filesystem>

TEST_F(ApiItems, ABatchPutsAndDeletes)
{
    createTable("others", "N", "");
    (void)done("PutItem", put("a", "1"));
    EXPECT_EQ(done("BatchWriteItem", R"({"RequestItems":{"items":[{"PutRequest":{)" +
                                         item("a", "2", R"("n":{"N":"1"})") + R"(}},{"DeleteRequest":{)" +
                                         key("a", "1") +
                                         R"(}}],"others":[{"PutRequest":{"Item":{"id":{"N":"5"}}}}]}})"),
              R"({"UnprocessedItems":{}})");
    EXPECT_EQ(attributesOf("a", "1"), "none");
    EXPECT_EQ(attributesOf("a", "2"), R"({"n":{"N":"1"}})");
    EXPECT_EQ(done("BatchGetItem", R"({"RequestItems":{"others":{"Keys":[{"id":{"N":"5.0"}},{"id":{"N":"6"}}]},)"
                                   R"("items":{"Keys":[{)" +
                                       keyText("a", "2") + R"(}],"ProjectionExpression":"#n",)" +
                                       R"("ExpressionAttributeNames":{"#n":"n"}}}})"),
              R"({"Responses":{"items":[{"n":{"N":"1"}}],"others":[{"id":{"N":"5"}}]},"UnprocessedKeys":{}})");
}

TEST_F(ApiItems, ABatchWritesToSeveralDirectories)
{
    const std::string other = directory_.makeDirectory("other") + "|items";
    (void)done("CreateTable",
               R"({"TableName":")" + other +
                   R"(","BillingMode":"PAY_PER_REQUEST","KeySchema":[{"AttributeName":"id","KeyType":"HASH"}],)"
                   R"("AttributeDefinitions":[{"AttributeName":"id","AttributeType":"S"}]})");
    const std::string entries = R"({"RequestItems":{"items":[{"PutRequest":{)" + item("a", "1") + R"(}}],")" + other +
                                R"(":[{"PutRequest":{"Item":{"id":{"S":"b"}}}}]}})";
    EXPECT_EQ(done("BatchWriteItem", entries), R"({"UnprocessedItems":{}})");
    EXPECT_EQ(attributesOf("a", "1"), "{}");
    EXPECT_EQ(done("GetItem", R"({"TableName":")" + other + R"(","Key":{"id":{"S":"b"}}})"),
              R"({"Item":{"id":{"S":"b"}}})");
}

TEST_F(ApiItems, ADirectoryEndsAtTheLastBarOfAName)
{
    std::string entries;
    for (const char* name : {"x|1", "x|2"}) {
        const std::string table = directory_.makeDirectory(name) + "|items";
        (void)done("CreateTable",
                   R"({"TableName":")" + table +
                       R"(","BillingMode":"PAY_PER_REQUEST","KeySchema":[{"AttributeName":"id","KeyType":"HASH"}],)"
                       R"("AttributeDefinitions":[{"AttributeName":"id","AttributeType":"S"}]})");
        entries += (entries.empty() ? "\"" : ",\"") + table + R"(":[{"PutRequest":{"Item":{"id":{"S":"b"}}}}])";
    }
    EXPECT_EQ(done("BatchWriteItem", R"({"RequestItems":{)" + entries + "}}"), R"({"UnprocessedItems":{}})");
    for (const char* name : {"x|1", "x|2"})
        EXPECT_EQ(done("GetItem", R"({"TableName":")" + directory_.file(name) + R"(|items","Key":{"id":{"S":"b"}}})"),
                  R"({"Item":{"id":{"S":"b"}}})");
}

TEST_F(ApiItems, ABatchReturnsWhatItCouldNotDo)
{
    const std::string lost = directory_.makeDirectory("lost");
    const std::string table = lost + "|items";
    (void)done("CreateTable",
               R"({"TableName":")" + table +
                   R"(","BillingMode":"PAY_PER_REQUEST","KeySchema":[{"AttributeName":"id","KeyType":"HASH"}],)"
                   R"("AttributeDefinitions":[{"AttributeName":"id","AttributeType":"S"}]})");
    (void)done("GetItem", R"({"TableName":")" + table + R"(","Key":{"id":{"S":"b"}}})");
    // The description is remembered, so the write is tried.
    EXPECT_EQ(server_.request("DeleteTable", {{"TableName", QString::fromStdString(table)}}).value("__rc"), 200);
    std::filesystem::rename(lost, lost + ".gone");
    const std::string failedPart = R"(")" + table + R"(":[{"PutRequest":{"Item":{"id":{"S":"b"}}}}])";
    EXPECT_EQ(done("BatchWriteItem",
                   R"({"RequestItems":{"items":[{"PutRequest":{)" + item("a", "1") + R"(}}],)" + failedPart + "}}"),
              canonical(R"({"UnprocessedItems":{)" + failedPart + "}}"));
    EXPECT_EQ(attributesOf("a", "1"), "{}");
}

TEST_F(ApiItems, BatchesHaveLimits)
{
    const std::string duplicates = "ValidationException: Provided list of item keys contains duplicates";
    const std::string deletion = "{\"DeleteRequest\":{" + key("a", "1") + "}}";
    const std::string again = "{\"DeleteRequest\":{" + key("a", "1.0") + "}}";
    EXPECT_EQ(failed("BatchWriteItem", R"({"RequestItems":{"items":[)" + deletion + ',' + again + "]}}"), duplicates);
    EXPECT_EQ(failed("BatchWriteItem", R"({"RequestItems":{"items":[)" + deletion + R"(],")" + directory_.path() +
                                           R"(|items":[)" + again + "]}}"),
              duplicates)
        << "two names of one table";
    EXPECT_EQ(failed("BatchGetItem", R"({"RequestItems":{"items":{"Keys":[{)" + keyText("a", "1") + "},{" +
                                         keyText("a", "1") + "}]}}}"),
              duplicates);
    EXPECT_EQ(failed("BatchWriteItem", R"({"RequestItems":{"items":[{}]}})"),
              "ValidationException: Supplied WriteRequest must contain exactly one of PutRequest and DeleteRequest");
    EXPECT_EQ(failed("BatchWriteItem", R"({"RequestItems":{"items":[{"PutRequest":{"Item":{"id":{"S":"a"}}}}]}})"),
              "ValidationException: One or more parameter values were invalid: Missing the key ax in the item");
    createTable("others", "N", "");
    const auto many = [](std::size_t count, const auto& entry) {
        std::string all;
        for (std::size_t i = 0; i < count; ++i)
            all += (i == 0 ? "" : ",") + entry(i);
        return all;
    };
    const std::string deletions =
        many(20, [](std::size_t i) { return "{\"DeleteRequest\":{" + key("a", std::to_string(i)) + "}}"; });
    EXPECT_EQ(failed("BatchWriteItem", R"({"RequestItems":{"items":[)" + deletions + R"(],"others":[)" +
                                           many(6,
                                                [](std::size_t i) {
                                                    return R"({"DeleteRequest":{"Key":{"id":{"N":")" +
                                                           std::to_string(i) + "\"}}}}";
                                                }) +
                                           "]}}"),
              "ValidationException: Too many items requested for the BatchWriteItem call");
    const std::string keys = many(60, [](std::size_t i) { return '{' + keyText("a", std::to_string(i)) + '}'; });
    EXPECT_EQ(failed("BatchGetItem",
                     R"({"RequestItems":{"items":{"Keys":[)" + keys + R"(]},"others":{"Keys":[)" +
                         many(41, [](std::size_t i) { return R"({"id":{"N":")" + std::to_string(i) + "\"}}"; }) +
                         "]}}}"),
              "ValidationException: Too many items requested for the BatchGetItem call");
}

TEST_F(ApiItems, ABatchGetHas16Megabytes)
{
    const std::string attribute = R"("x":{"S":")" + std::string(400'000, 'x') + "\"}";
    std::string keys;
    for (int at = 0; at < 43; ++at) {
        if (at < 2)
            (void)done("PutItem", put("a", std::to_string(at), attribute));
        else
            (void)done("BatchWriteItem", R"({"RequestItems":{"items":[{"PutRequest":{)" +
                                             item("a", std::to_string(at), attribute) + "}}]}}");
        keys += (at == 0 ? "{" : ",{") + keyText("a", std::to_string(at)) + '}';
    }
    const QVariantMap reply =
        parsed(done("BatchGetItem", R"({"RequestItems":{"items":{"AttributesToGet":["ax"],"Keys":[)" + keys + "]}}}"));
    EXPECT_EQ(reply.value("Responses").toMap().value("items").toList().size(), 41);
    EXPECT_EQ(Json::serialize(reply.value("UnprocessedKeys")).toStdString(),
              R"({"items":{"AttributesToGet":["ax"],"Keys":[{"ax":{"N":"41"},"id":{"S":"a"}},)"
              R"({"ax":{"N":"42"},"id":{"S":"a"}}]}})");
}

TEST_F(ApiItems, ABatchNamesEachTableOnce)
{
    const std::string full = directory_.path() + "|items";
    const std::string keys = "{\"Keys\":[{" + keyText("a", "1") + "}]}";
    const std::string others = "{\"Keys\":[{" + keyText("b", "1") + "}]}";
    (void)done("PutItem", put("a", "1"));
    (void)done("PutItem", put("b", "1"));
    const std::string duplicates = "ValidationException: Provided list of item keys contains duplicates";
    EXPECT_EQ(failed("BatchGetItem", R"({"RequestItems":{"items":)" + keys + ",\"" + full + "\":" + keys + "}}"),
              duplicates)
        << "by whatever name";
    const std::string a = "[{" + keyText("a", "1") + "}]";
    const std::string b = "[{" + keyText("b", "1") + "}]";
    EXPECT_EQ(done("BatchGetItem", R"({"RequestItems":{"items":)" + keys + ",\"" + full + "\":" + others + "}}"),
              canonical(R"({"Responses":{"items":)" + a + ",\"" + full + "\":" + b + "},\"UnprocessedKeys\":{}}"));
    // Of two members with the same name, the last one counts, as everywhere in JSON.
    const Api::Reply reply =
        call("BatchGetItem", R"({"RequestItems":{"items":)" + keys + ",\"items\":" + others + "}}");
    EXPECT_EQ(reply.body.toStdString(), R"({"Responses":{"items":[{"ax":{"N":"1"},"id":{"S":"b"}}]},)"
                                        R"("UnprocessedKeys":{}})");
    EXPECT_EQ(done("BatchWriteItem", R"({"RequestItems":{"items":[{"DeleteRequest":{)" + key("a", "1") +
                                         R"(}}],"items":[{"DeleteRequest":{)" + key("b", "1") + "}}]}}"),
              R"({"UnprocessedItems":{}})");
    EXPECT_EQ(attributesOf("a", "1"), "{}");
    EXPECT_EQ(attributesOf("b", "1"), "none");
}
