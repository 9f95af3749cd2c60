#include "itemcommandsfixture.h"

namespace {

constexpr int LargestItem = 512 * 1024; // bytes of an item's text without its keys

} // namespace

TEST_F(ItemCommands, PutStoresAnItemOfWords)
{
    expectOutput({"put", table(), "h=S:k", "r=S:r", "n=N:17", "s=SS:a,b", "e=S:"}, "");
    EXPECT_EQ(stored("k", "r"),
              (QVariantMap{
                  {"n", numberValue("17")}, {"s", QVariantMap{{"SS", QVariantList{"a", "b"}}}}, {"e", textValue("")}}));
    expectOutput({"put", table(), "h=S:k", "r=S:r"}, "");
    EXPECT_TRUE(isThere("k", "r"));
    EXPECT_EQ(stored("k", "r"), QVariantMap());
}

TEST_F(ItemCommands, PutTakesJsonFromTheArgumentAFileAndStandardInput)
{
    const std::string json = "{\"h\": {\"S\": \"k\"}, \"r\": {\"S\": \"\"},\n \"a\": {\"S\": \"größer ✓\"}}\n";
    for (const bool spaced : {false, true}) {
        expectOutput({"put", table(), spaced ? "  " + json : json}, "");
        EXPECT_EQ(stored("k", ""), (QVariantMap{{"a", textValue("größer ✓")}}));
        remove("k", "");
    }
    const std::string file = writeFile("item.json", json);
    expectOutput({"put", table(), file}, "");
    EXPECT_EQ(stored("k", ""), (QVariantMap{{"a", textValue("größer ✓")}}));
    remove("k", "");
    expectOutput({"put", table(), "-"}, "", {.input = file});
    EXPECT_EQ(stored("k", ""), (QVariantMap{{"a", textValue("größer ✓")}}));
}

TEST_F(ItemCommands, PutUnderConditions)
{
    expectOutput({"put", table(), "h=S:k", "r=S:r", "n=N:1", "--if-absent", "n"}, "");
    expectFailure({"put", table(), "h=S:k", "r=S:r", "n=N:2", "--if-absent", "n"}, ErrorReply,
                  conditionFailed("cannot store the item in " + table()));
    expectFailure({"put", table(), "--if", "n=N:2", "h=S:k", "r=S:r", "n=N:3"}, ErrorReply,
                  conditionFailed("cannot store the item in " + table()));
    EXPECT_EQ(stored("k", "r"), (QVariantMap{{"n", numberValue("1")}}));
    expectOutput({"put", table(), "--if", "n=N:1", "--if-absent", "x", "--if-absent", "y", "h=S:k", "r=S:r", "n=N:4"},
                 "");
    EXPECT_EQ(stored("k", "r"), (QVariantMap{{"n", numberValue("4")}}));
}

TEST_F(ItemCommands, PutReturnsTheOldItem)
{
    expectOutput({"put", table(), "h=S:k", "r=S:r", "n=N:1", "--return", "old"}, "");
    expectOutput({"put", table(), "h=S:k", "r=S:r", "n=N:2", "--return", "old"},
                 "{\"h\":{\"S\":\"k\"},\"n\":{\"N\":\"1\"},\"r\":{\"S\":\"r\"}}\n");
}

TEST_F(ItemCommands, PutRefusesItemsThatCannotBeStored)
{
    const std::string cannot = "quorvactl: cannot store the item: ";
    expectFailure({"put", table(), "r=S:r"}, Usage, cannot + "the hash key \"h\" is missing\n");
    expectFailure({"put", table(), "h=S:k"}, Usage, cannot + "the range key \"r\" is missing\n");
    expectFailure({"put", table(), "h=N:1", "r=S:r"}, Usage,
                  cannot + "the hash key \"h\" is not a string, {\"S\": \"...\"}\n");
    expectFailure({"put", table(), "h=S:k", "r=S:✓"}, Usage,
                  cannot + "the range key \"r\" has a character outside Latin-1: \"✓\"\n");
    expectFailure(
        {"put", table(), "{\"h\": {\"S\": \"k\"} \"r\": 1}"}, Usage,
        "quorvactl: the item is not valid JSON, at character 18: Missing a comma or '}' after an object member\n");
    const std::string list = writeFile("list.json", "[1]");
    expectFailure({"put", table(), list}, Usage, "quorvactl: the item in " + list + " is not a JSON object, {...}\n");
    expectFailure({"put", table(), "{\"n\": 1}"}, Usage,
                  "quorvactl: attribute \"n\": \"1\" has no type; write S:text, N:17, B:YWI= (base64), SS:a,b, NS:1,2, "
                  "BS:YQ==,Yg== or "
                  "JSON such as {\"S\": \"text\"}\n");
    expectFailure({"put", table(), "h=S:k", "r"}, Usage,
                  "quorvactl: \"r\" is not an attribute; write NAME=VALUE, such as total=N:17\n");
    const std::string forms =
        "  an item is JSON in the form {...}, - for standard input, a file name, or NAME=VALUE ...\n";
    expectFailure({"put", table(), pathOf("none")}, Usage,
                  "quorvactl: cannot read " + pathOf("none") + ": No such file or directory\n" + forms);
    expectFailure({"put", table(), server_.directory()}, Usage,
                  "quorvactl: cannot read " + server_.directory() + ": Is a directory\n" + forms);
    expectFailure({"put", table(), "-"}, Usage,
                  "quorvactl: the item on standard input is not valid JSON, at character 1: The document is empty\n");
    const std::string file = writeFile("item.json", "{\"h\":\n1]");
    expectFailure({"put", table(), file}, Usage,
                  "quorvactl: the item in " + file +
                      " is not valid JSON, at line 2, character 2: Missing a comma or '}' after an object member\n");
    expectFailure({"put", table(), "-"}, NoReply, "quorvactl: cannot read standard input\n",
                  {.input = server_.directory()});
}

TEST_F(ItemCommands, PutKeepsToTheSizeThatCanBeReadBack)
{
    const auto itemOfSize = [&](int size) {
        const std::string around = "{\"a\":{\"S\":\"\"}}";
        return writeFile("item.json", "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"},\"a\":{\"S\":\"" +
                                          std::string(static_cast<size_t>(size) - around.size(), 'x') + "\"}}");
    };
    expectOutput({"put", table(), itemOfSize(LargestItem)}, "");
    EXPECT_EQ(quorvactl({"get", table(), "k", "r"}).status, Ok);
    expectFailure({"put", table(), itemOfSize(LargestItem + 1)}, Usage,
                  "quorvactl: cannot store the item: the item is larger than 512 KiB and could not be read back\n");
    EXPECT_EQ(quorvactl({"get", table(), "k", "r"}).status, Ok);
}
