/* Requests for tables that do not exist, and the files that they must not leave. */
#include "itemfixture.h"

#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

/** A request on the table "missing". */
struct Case {
    const char* operation;
    std::string body;
    bool makesItem = false; // if the table exists
};

const std::string Key = R"({"id":{"S":"a"},"ax":{"N":"1"}})";
const std::string Named = R"("TableName":"missing")";
const std::string ByKey = '{' + Named + R"(,"Key":)" + Key;
const std::string Item = '{' + Named + R"(,"Item":)" + Key;
const std::string IfAbsent = R"-(,"ConditionExpression":"attribute_not_exists(id)"})-";
const std::string IfPresent = R"-(,"ConditionExpression":"attribute_exists(id)"})-";
const std::string SetN = R"(,"UpdateExpression":"SET n = :n","ExpressionAttributeValues":{":n":{"N":"1"}})";

const std::vector<Case>& cases()
{
    static const std::vector<Case> all{
        {"GetItem", ByKey + '}'},
        {"PutItem", Item + '}', true},
        {"PutItem", Item + IfAbsent, true},
        {"PutItem", Item + IfPresent},
        {"DeleteItem", ByKey + '}'},
        {"DeleteItem", ByKey + IfAbsent},
        {"DeleteItem", ByKey + IfPresent},
        {"UpdateItem", ByKey + SetN + '}', true},
        {"UpdateItem", ByKey + SetN + IfPresent},
        {"Query",
         '{' + Named + R"(,"KeyConditionExpression":"id = :id","ExpressionAttributeValues":{":id":{"S":"a"}}})"},
        {"Scan", '{' + Named + '}'},
        {"BatchGetItem", R"({"RequestItems":{"missing":{"Keys":[)" + Key + "]}}}"},
        {"BatchWriteItem", R"({"RequestItems":{"missing":[{"PutRequest":{"Item":)" + Key + "}}]}}", true},
        {"BatchWriteItem", R"({"RequestItems":{"missing":[{"DeleteRequest":{"Key":)" + Key + "}}]}}"},
        {"DescribeTable", '{' + Named + '}'},
        {"UpdateTable", '{' + Named + R"(,"BillingMode":"PAY_PER_REQUEST"})"},
        {"DeleteTable", '{' + Named + '}'},
    };
    return all;
}

const std::string NotFound = "ResourceNotFoundException";

class ApiMissingTables : public ApiItems {
protected:
    using Files = std::set<std::string>;

    QString realName() const { return QString::fromStdString(directory_.path() + "|missing"); }

    /** The type of the error with which a request fails; empty if it is carried out. */
    std::string errorOf(const std::string& operation, const std::string& body) const
    {
        const Api::Reply reply = call(operation, body);
        const QString type = parsed(reply.body.toStdString()).value("__type").toString();
        return type.mid(type.indexOf('#') + 1).toStdString();
    }

    /** The files of the table "missing". */
    Files files() const
    {
        Files found;
        for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
            if (const std::string name = entry.path().filename().string(); name.starts_with("missing"))
                found.insert(name);
        }
        return found;
    }
};

} // namespace

TEST_F(ApiMissingTables, ATableThatWasNeverCreatedLeavesNoFiles)
{
    for (const Case& request : cases()) {
        EXPECT_EQ(errorOf(request.operation, request.body), NotFound) << request.operation << request.body;
        EXPECT_EQ(files(), Files()) << request.operation << request.body;
    }
}

TEST_F(ApiMissingTables, ATableThatIsGoneLeavesNoFilesEither)
{
    for (const Case& request : cases()) {
        createTable("missing", "S", "N");
        (void)done("Scan", R"({"TableName":"missing"})"); // the API remembers the table
        ASSERT_EQ(server_.request("Quorva_1.DropTable", {{"TableName", realName()}}).value("__rc"), 200);
        // Without an item to read, some requests do not notice.
        const std::string error = errorOf(request.operation, request.body);
        const bool isUnnoticed = error.empty() || error == "ConditionalCheckFailedException";
        EXPECT_TRUE(error == NotFound || (isUnnoticed && !request.makesItem))
            << request.operation << request.body << error;
        EXPECT_EQ(files(), Files()) << request.operation << request.body;
    }
}

/** UpdateItem of the API of 2011-12-05 and the wire protocol writes items without a description. */
TEST_F(ApiMissingTables, ItemsWithoutADescriptionAreNoTable)
{
    const QVariantMap update{
        {"TableName", realName()},
        {"Key", QVariantMap{{"HashKeyElement", QVariantMap{{"S", "a"}}}, {"RangeKeyElement", QVariantMap{{"S", "b"}}}}},
        {"AttributeUpdates", QVariantMap{{"n", QVariantMap{{"Value", QVariantMap{{"N", "1"}}}, {"Action", "PUT"}}}}}};
    ASSERT_EQ(server_.request("UpdateItem", update).value("__rc"), 200);
    const Files before = files();
    EXPECT_EQ(before.size(), 1U);
    for (const Case& request : cases()) {
        EXPECT_EQ(errorOf(request.operation, request.body), NotFound) << request.operation << request.body;
        EXPECT_EQ(files(), before) << request.operation << request.body;
    }
}

TEST_F(ApiMissingTables, ADirectoryWithoutTablesStaysEmpty)
{
    const std::string plain = directory_.makeDirectory("plain");
    for (const Case& request : cases()) {
        std::string body = request.body;
        body.replace(body.find("missing"), 0, plain + '|');
        EXPECT_EQ(errorOf(request.operation, body), NotFound) << request.operation << body;
        EXPECT_TRUE(std::filesystem::is_empty(plain)) << request.operation << body;
    }
}

TEST_F(ApiMissingTables, ValuesAreCheckedBeforeTheTable)
{
    const std::string wrong = R"({"id":{"N":"one"}})";
    const std::string named = '{' + Named;
    const std::string notANumber = "The parameter cannot be converted to a numeric value: one";
    for (const auto& [operation, body] : std::vector<std::pair<std::string, std::string>>{
             {"GetItem", named + R"(,"Key":)" + wrong + '}'},
             {"PutItem", named + R"(,"Item":)" + wrong + '}'},
             {"DeleteItem", named + R"(,"Key":)" + wrong + '}'},
             {"UpdateItem", named + R"(,"Key":)" + wrong + '}'},
             {"BatchGetItem", R"({"RequestItems":{"missing":{"Keys":[)" + wrong + "]}}}"},
             {"BatchWriteItem", R"({"RequestItems":{"missing":[{"PutRequest":{"Item":)" + wrong + "}}]}}"},
             {"BatchWriteItem", R"({"RequestItems":{"missing":[{"DeleteRequest":{"Key":)" + wrong + "}}]}}"},
         })
        EXPECT_EQ(failed(operation, body), "ValidationException: " + notANumber) << operation << body;
    const std::string start = R"(,"ExclusiveStartKey":)" + wrong;
    const std::string invalidStart = "ValidationException: The provided starting key is invalid: " + notANumber;
    EXPECT_EQ(failed("Scan", named + start + '}'), invalidStart);
    EXPECT_EQ(failed("Query", named + start +
                                  R"(,"KeyConditionExpression":"id = :id","ExpressionAttributeValues":)"
                                  R"({":id":{"S":"a"}}})"),
              invalidStart);

    const std::string large = R"({"id":{"S":")" + std::string(409'600, 'x') + "\"}}";
    const std::string tooLarge = "ValidationException: Item size has exceeded the maximum allowed size";
    EXPECT_EQ(failed("PutItem", named + R"(,"Item":)" + large + '}'), tooLarge);
    EXPECT_EQ(failed("BatchWriteItem", R"({"RequestItems":{"missing":[{"PutRequest":{"Item":)" + large + "}}]}}"),
              tooLarge);
}
