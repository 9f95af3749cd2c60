#include "api/apifixture.h"

namespace {

class Tags : public ApiTest {
protected:
    const std::string arn_ = R"("ResourceArn":"arn:aws:dynamodb:local:000000000000:table/orders")";

    std::string list() { return call("ListTagsOfResource", '{' + arn_ + '}'); }
};

} // namespace

TEST_F(Tags, AreAddedReplacedAndRemoved)
{
    makeTable("orders");
    EXPECT_EQ(list(), R"({"Tags":[]})");
    EXPECT_EQ(call("TagResource", '{' + arn_ + R"(,"Tags":[{"Key":"team","Value":"blue"},{"Key":"cost","Value":""}]})"),
              "");
    EXPECT_EQ(call("TagResource", '{' + arn_ + R"(,"Tags":[{"Key":"team","Value":"grün"}]})"), "");
    EXPECT_EQ(list(), R"({"Tags":[{"Key":"cost","Value":""},{"Key":"team","Value":"grün"}]})");
    EXPECT_EQ(call("UntagResource", '{' + arn_ + R"(,"TagKeys":["cost","other"]})"), "");
    start(directory_); // they are stored
    EXPECT_EQ(list(), R"({"Tags":[{"Key":"team","Value":"grün"}]})");
}

TEST_F(Tags, OfANewTable)
{
    call("CreateTable", R"({"TableName":"orders","BillingMode":"PAY_PER_REQUEST","Tags":[{"Key":"a","Value":"b"}],)"
                        R"("KeySchema":[{"AttributeName":"id","KeyType":"HASH"}],)"
                        R"("AttributeDefinitions":[{"AttributeName":"id","AttributeType":"S"}]})");
    EXPECT_EQ(list(), R"({"Tags":[{"Key":"a","Value":"b"}]})");
}

TEST_F(Tags, AreLimited)
{
    makeTable("orders");
    std::string tags;
    for (int i = 0; i < 51; ++i)
        tags += (i == 0 ? "" : ",") + (R"({"Key":")" + std::to_string(i)) + R"(","Value":""})";
    EXPECT_EQ(refusal("TagResource", '{' + arn_ + R"(,"Tags":[)" + tags + "]}"),
              errorText(std::string(ApiType) + "LimitExceededException", "A table can have 50 tags"));
    EXPECT_EQ(list(), R"({"Tags":[]})");
}

TEST_F(Tags, ErrorsAreSpelledAsTheApiSpellsThem)
{
    const std::string notFound = errorText(
        std::string(ApiType) + "ResourceNotFoundException",
        "Requested resource not found: ResourcArn: arn:aws:dynamodb:local:000000000000:table/orders not found");
    EXPECT_EQ(refusal("ListTagsOfResource", '{' + arn_ + '}'), notFound);
    EXPECT_EQ(refusal("TagResource", '{' + arn_ + R"(,"Tags":[{"Key":"a","Value":"b"}]})"), notFound);
    EXPECT_EQ(refusal("UntagResource", '{' + arn_ + R"(,"TagKeys":["a"]})"), notFound);
    EXPECT_EQ(refusal("ListTagsOfResource", R"({"ResourceArn":"orders"})"),
              errorText(ValidationType, "Invalid TableArn: Invalid ResourceArn provided as input orders"));
    EXPECT_EQ(refusal("TagResource", '{' + arn_ + R"(,"Tags":[]})"),
              errorText(ValidationType, "Atleast one Tag needs to be provided as Input."));
    EXPECT_EQ(refusal("UntagResource", '{' + arn_ + R"(,"TagKeys":[]})"),
              errorText(ValidationType, "Atleast one Tag Key needs to be provided as Input."));
}
