/* Batches in which one table has several names, because its directory has several spellings. */
#include "itemfixture.h"

#include <filesystem>
#include <string>
#include <vector>

namespace {

class ApiSpellings : public ApiItems {
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(ApiItems::SetUp());
        std::filesystem::create_symlink(directory_.path(), links_.file("link"));
    }

    /** Names of the table "items", each with another spelling of its directory. */
    std::vector<std::string> spellings() const
    {
        const std::filesystem::path path(directory_.path());
        const std::string parent = path.parent_path().string();
        const std::string name = path.filename().string();
        return {directory_.path() + "/|items", parent + "/./" + name + "|items", parent + "//" + name + "|items",
                directory_.path() + "/../" + name + "|items", links_.file("link") + "|items"};
    }

    static std::string writes(const std::string& table, const std::string& id, const std::string& other,
                              const std::string& otherId)
    {
        return R"({"RequestItems":{")" + table + R"(":[{"PutRequest":{)" + item(id, "1") + R"(}}],")" + other +
               R"(":[{"DeleteRequest":{)" + key(otherId, "1") + "}}]}}";
    }

    static std::string reads(const std::string& table, const std::string& id, const std::string& other,
                             const std::string& otherId)
    {
        return R"({"RequestItems":{")" + table + R"(":{"Keys":[{)" + keyText(id, "1") + R"(}]},")" + other +
               R"(":{"Keys":[{)" + keyText(otherId, "1") + "}]}}}";
    }

    const std::string duplicates_ = "ValidationException: Provided list of item keys contains duplicates";
    TempDir links_;
};

} // namespace

TEST_F(ApiSpellings, AKeyUnderTwoSpellingsIsADuplicate)
{
    for (const std::string& other : spellings()) {
        EXPECT_EQ(failed("BatchWriteItem", writes("items", "a", other, "a")), duplicates_) << other;
        EXPECT_EQ(failed("BatchGetItem", reads("items", "a", other, "a")), duplicates_) << other;
    }
    const std::vector<std::string> names = spellings();
    EXPECT_EQ(failed("BatchWriteItem", writes(names[0], "a", names[1], "a")), duplicates_);
    EXPECT_EQ(failed("BatchGetItem", reads(names[2], "a", names[4], "a")), duplicates_);
    EXPECT_EQ(attributesOf("a", "1"), "none") << "nothing was written";
}

TEST_F(ApiSpellings, DifferentKeysUnderTwoSpellingsAreNoDuplicates)
{
    for (const std::string& other : spellings()) {
        (void)done("PutItem", put("b", "1"));
        EXPECT_EQ(done("BatchWriteItem", writes("items", "a", other, "b")), R"({"UnprocessedItems":{}})") << other;
        EXPECT_EQ(attributesOf("a", "1"), "{}") << other;
        EXPECT_EQ(attributesOf("b", "1"), "none") << other;
        EXPECT_EQ(done("BatchGetItem", reads("items", "b", other, "a")),
                  canonical(R"({"Responses":{"items":[],")" + other + R"(":[{)" + keyText("a", "1") +
                            R"(}]},"UnprocessedKeys":{}})"))
            << other;
    }
}

TEST_F(ApiSpellings, AKeyInTwoDirectoriesIsNoDuplicate)
{
    const std::string other = directory_.makeDirectory("other") + "|items";
    createTable(other, "S", "N");
    EXPECT_EQ(done("BatchWriteItem", writes("items", "a", other, "a")), R"({"UnprocessedItems":{}})");
    EXPECT_EQ(done("BatchGetItem", reads("items", "a", other, "a")),
              canonical(R"({"Responses":{"items":[{)" + keyText("a", "1") + R"(}],")" + other +
                        R"(":[]},"UnprocessedKeys":{}})"));
}

TEST_F(ApiSpellings, ADirectoryThatIsGoneFailsByItself)
{
    const std::string other = directory_.makeDirectory("other");
    createTable(other + "|items", "S", "N");
    (void)done("Scan", R"({"TableName":")" + other + R"(|items"})"); // the API remembers the table
    EXPECT_EQ(server_.request("DeleteTable", {{"TableName", QString::fromStdString(other + "|items")}}).value("__rc"),
              200);
    std::filesystem::rename(other, other + ".gone");
    const std::string deletion = R"(")" + other + R"(|items":[{"DeleteRequest":{)" + key("a", "1") + "}}]";
    EXPECT_EQ(done("BatchWriteItem", writes("items", "a", other + "|items", "a")),
              canonical(R"({"UnprocessedItems":{)" + deletion + "}}"));
    EXPECT_EQ(attributesOf("a", "1"), "{}");
}
