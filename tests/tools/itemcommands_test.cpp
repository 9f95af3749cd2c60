#include "toolfixture.h"

namespace {

const std::string Absent = "  try: a condition on an attribute that every item has\n";
const std::string ConditionAdvice = "quorvactl get; the stored item does not meet the conditions";
constexpr int LargestItem = 512 * 1024; // bytes of an item's text without its keys

class ItemCommands : public ToolTest {
protected:
    /** The stored item, as the server gives it. */
    QVariantMap stored(const QString& hash, const QString& range) { return get(hash, range).value("Item").toMap(); }
    bool isThere(const QString& hash, const QString& range) { return get(hash, range).contains("Item"); }

    std::string item(const char* hash = "k", const char* range = "r") const
    {
        return std::string("the item \"") + hash + "\" \"" + range + "\" of " + table();
    }

    std::string conditionFailed(const std::string& failed) const
    {
        return Complaints::errorReply(failed, Complaints::ConditionFailed, ConditionAdvice);
    }
};

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

TEST_F(ItemCommands, GetPrintsTheItemWithItsKeys)
{
    put("k", "r", {{"a", textValue("x")}, {"z", numberValue("7")}});
    expectOutput({"get", table(), "k", "r"},
                 "{\"a\":{\"S\":\"x\"},\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"},\"z\":{\"N\":\"7\"}}\n");
    expectOutput({"get", table(), "k", "r", "--attributes", "z"},
                 "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"},\"z\":{\"N\":\"7\"}}\n");
    expectOutput({"get", "--attributes", "a,z", table(), "k", "r"},
                 "{\"a\":{\"S\":\"x\"},\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"},\"z\":{\"N\":\"7\"}}\n");
    expectFailure({"get", table(), "k", "s"}, ErrorReply,
                  "quorvactl: there is no item \"k\" \"s\" in " + table() + '\n');
    const ProgramRun unprinted = quorvactl({"get", table(), "k", "r"}, {.output = "/dev/full"});
    EXPECT_EQ(unprinted.status, NoReply);
    EXPECT_EQ(unprinted.error, "quorvactl: cannot write standard output\n");
}

TEST_F(ItemCommands, KeysMayBeAnyWords)
{
    for (const auto& [hash, range] : std::vector<std::pair<QString, QString>>{
             {"get", "put"}, {"scan", ""}, {"-5", "--help"}, {"", "r"}, {"[a]", "{b}"}, {QChar(0xe9), "a b"}}) {
        put(hash, range, {{"a", textValue(hash)}});
        const ProgramRun run =
            quorvactl({"get", "--attributes=a", "--", table(), hash.toStdString(), range.toStdString()});
        EXPECT_EQ(run.status, Ok) << hash.toStdString() << ' ' << run.error;
        const QVariantMap whole{{"h", textValue(hash)}, {"r", textValue(range)}, {"a", textValue(hash)}};
        EXPECT_EQ(run.output, Json::serialize(whole).toStdString() + '\n');
        expectOutput({"delete", "--", table(), hash.toStdString(), range.toStdString()}, "");
        EXPECT_FALSE(isThere(hash, range));
    }
}

TEST_F(ItemCommands, DeleteDeletes)
{
    put("k", "r", {{"n", numberValue("1")}});
    expectFailure({"delete", table(), "k", "r", "--if", "n=N:2"}, ErrorReply,
                  conditionFailed("cannot delete " + item()));
    EXPECT_TRUE(isThere("k", "r"));
    expectOutput({"delete", table(), "k", "r", "--if", "n=N:1", "--return", "old"},
                 "{\"h\":{\"S\":\"k\"},\"n\":{\"N\":\"1\"},\"r\":{\"S\":\"r\"}}\n");
    EXPECT_FALSE(isThere("k", "r"));
    expectOutput({"delete", table(), "k", "r", "--return", "old"}, "");
    expectOutput({"delete", table(), "k", "r"}, "");
}

TEST_F(ItemCommands, UpdateSetsAddsAndRemoves)
{
    put("k", "r", {{"n", numberValue("1")}, {"s", textValue("a")}, {"x", textValue("x")}, {"y", textValue("y")}});
    expectOutput({"update", table(), "k", "r", "--set", "a=S:1", "--set", "b=SS:p,q", "--add", "n=N:2", "--add",
                  "{\"s\": {\"S\": \"b\"}, \"new\": {\"N\": \"5\"}}", "--remove", "x", "--remove", "y"},
                 "");
    EXPECT_EQ(stored("k", "r"), (QVariantMap{{"a", textValue("1")},
                                             {"b", QVariantMap{{"SS", QVariantList{"p", "q"}}}},
                                             {"n", numberValue("3")},
                                             {"new", numberValue("5")},
                                             {"s", textValue("ab")}}));
    expectOutput({"update", table(), "new", "", "--set", "a=S:1"}, "");
    EXPECT_EQ(stored("new", ""), (QVariantMap{{"a", textValue("1")}}));
}

TEST_F(ItemCommands, UpdateReturnsWhatIsAskedFor)
{
    put("k", "r", {{"n", numberValue("1")}, {"s", textValue("a")}});
    const auto returned = [&](const char* what, const std::string& output) {
        expectOutput({"update", table(), "k", "r", "--add", "n=N:1", "--return", what}, output);
    };
    returned("none", "");
    returned("old", "{\"h\":{\"S\":\"k\"},\"n\":{\"N\":\"2\"},\"r\":{\"S\":\"r\"},\"s\":{\"S\":\"a\"}}\n");
    returned("new", "{\"h\":{\"S\":\"k\"},\"n\":{\"N\":\"4\"},\"r\":{\"S\":\"r\"},\"s\":{\"S\":\"a\"}}\n");
    returned("updated-old", "{\"n\":{\"N\":\"4\"}}\n");
    returned("updated-new", "{\"n\":{\"N\":\"6\"}}\n");
}

TEST_F(ItemCommands, UpdateUnderConditions)
{
    put("k", "r", {{"n", numberValue("1")}});
    expectFailure({"update", table(), "k", "r", "--set", "n=N:2", "--if", "n=N:7"}, ErrorReply,
                  conditionFailed("cannot update " + item()));
    expectOutput({"update", table(), "k", "r", "--set", "n=N:2", "--if", "n=N:1", "--if-absent", "m"}, "");
    EXPECT_EQ(stored("k", "r"), (QVariantMap{{"n", numberValue("2")}}));
}

TEST_F(ItemCommands, UpdateRefusesWhatCannotBe)
{
    put("k", "r", {{"n", numberValue("1")}});
    const auto refused = [&](std::vector<std::string> options, const std::string& message) {
        options.insert(options.begin(), {"update", table(), "k", "r"});
        expectFailure(options, Usage, "quorvactl: " + message);
    };
    refused({}, "nothing to do: name an attribute with --set, --add or --remove\n");
    refused({"--set", "a"}, "\"a\" is not an attribute; write NAME=VALUE, such as total=N:17\n");
    refused({"--set", "a=S:1", "--add", "a=S:2"}, "there are two updates of \"a\"\n");
    refused({"--set", "a=S:1", "--remove", "a"}, "there are two updates of \"a\"\n");
    refused({"--add", "a=SS:1"}, "--add takes strings and numbers only, and \"a\" is neither\n");
    refused({"--remove", "a\xff"}, "--remove is not UTF-8\n");
    refused({"--set", "r=S:1"}, "\"r\" is a key attribute, which cannot be updated\n"
                                "  try: quorvactl put under the new key, then delete the old one\n");
    refused({"--set", "a=S:1", "--if", "h=S:k"}, "\"h\" is a key attribute, which conditions cannot test\n" + Absent);
    refused({"--set", "a=S:1", "--if-absent", "r"},
            "\"r\" is a key attribute, which conditions cannot test\n" + Absent);
    refused({"--set", "a=S:1", "--if", "b=SS:x"}, "--if compares strings and numbers only, and \"b\" is neither\n");
    refused({"--set", "a=S:1", "--if", "b=N:1", "--if-absent", "b"}, "there are two conditions on \"b\"\n");
    refused({"--set", "a=S:1", "--if", "b"}, "--if: \"b\" is not an attribute; write NAME=VALUE, such as total=N:17\n");
    expectFailure({"update", table(), "k", "r", "--add", "n=S:1"}, ErrorReply,
                  Complaints::errorReply("cannot update " + item(), Complaints::NotFound,
                                         "quorvactl get; --add needs an attribute of the same type"));
    EXPECT_EQ(stored("k", "r"), (QVariantMap{{"n", numberValue("1")}}));
}

TEST_F(ItemCommands, NumbersThatTheServerWouldTakeForZeroAreRefused)
{
    put("k", "r", {{"n", numberValue("1")}});
    for (const std::string number : {"1.5", "1e3", "9223372036854775808", "-9223372036854775809", "0.0"}) {
        const std::string why = '"' + number + "\" of \"n\" is not a 64-bit integer; the server would take it for 0\n";
        expectFailure({"update", table(), "k", "r", "--add", "n=N:" + number}, Usage,
                      "quorvactl: --add adds integers only: " + why);
        for (const std::vector<std::string>& command :
             std::vector<std::vector<std::string>>{{"update", table(), "k", "r", "--set", "a=S:1"},
                                                   {"delete", table(), "k", "r"},
                                                   {"put", table(), "h=S:k", "r=S:r"}}) {
            std::vector<std::string> words = command;
            words.insert(words.end(), {"--if", "n=N:" + number});
            expectFailure(words, Usage, "quorvactl: --if compares integers only: " + why);
        }
    }
    EXPECT_EQ(stored("k", "r"), (QVariantMap{{"n", numberValue("1")}}));
    for (const char* number : {"9223372036854775807", "-9223372036854775808", "+5", "007"})
        expectOutput({"update", table(), number, "", "--add", "n=N:" + std::string(number)}, "");
}

TEST_F(ItemCommands, AddDoesNotLoseWhatIsStored)
{
    put("k", "r", {{"half", numberValue("1.5")}, {"big", numberValue("9223372036854775807")}});
    expectFailure({"update", table(), "k", "r", "--add", "half=N:1"}, Usage,
                  "quorvactl: cannot update " + item() +
                      ": the stored \"1.5\" of \"half\" is not a 64-bit integer; the server would take it for 0\n");
    expectFailure({"update", table(), "k", "r", "--add", "big=N:1"}, Usage,
                  "quorvactl: cannot update " + item() + ": the sum of \"big\" is not a 64-bit integer\n");
    EXPECT_EQ(stored("k", "r"),
              (QVariantMap{{"half", numberValue("1.5")}, {"big", numberValue("9223372036854775807")}}));
    expectOutput({"update", table(), "k", "r", "--add", "big=N:-1", "--set", "half=N:2"}, "");
}

TEST_F(ItemCommands, UpdateKeepsToTheSizeThatCanBeReadBack)
{
    const std::string tooLarge =
        "quorvactl: cannot update " + item() + ": the item is larger than 512 KiB and could not be read back\n";
    const QString half(100000, 'x');
    put("k", "r",
        {{"a", textValue(half)},
         {"b", textValue(half)},
         {"c", textValue(half)},
         {"d", textValue(half)},
         {"e", textValue(half)}});
    const std::string most(24000, 'y');
    const std::string more(25000, 'y');
    for (const char* option : {"--set", "--add"})
        expectFailure({"update", table(), "k", "r", option, "f=S:" + more}, Usage, tooLarge);
    expectFailure({"update", table(), "k", "r", "--add", "a=S:" + more}, Usage, tooLarge);
    expectOutput({"update", table(), "k", "r", "--set", "f=S:" + more, "--remove", "e"}, "");
    expectOutput({"update", table(), "k", "r", "--add", "f=S:" + most, "--set", "a=S:1"}, "");
    EXPECT_EQ(stored("k", "r").value("f").toMap().value("S").toString().size(), 49000);
}

TEST_F(ItemCommands, BinaryThatIsNoBase64IsRefused)
{
    const std::string why = "attribute \"b\": \"abc\" is not base64\n";
    expectFailure({"put", table(), "h=S:k", "r=S:r", "b=B:abc"}, Usage, "quorvactl: " + why);
    expectFailure({"put", table(), R"({"h":{"S":"k"},"r":{"S":"r"},"b":{"BS":["abc"]}})"}, Usage, "quorvactl: " + why);
    expectFailure({"update", table(), "k", "r", "--set", "b=B:abc"}, Usage, "quorvactl: " + why);
    expectFailure({"update", table(), "k", "r", "--set", "a=S:1", "--if", "b=B:abc"}, Usage, "quorvactl: --if: " + why);
    EXPECT_FALSE(isThere("k", "r"));
    expectOutput({"put", table(), "h=S:k", "r=S:r", "b=BS:YWI=,YQ=="}, "");
}

TEST_F(ItemCommands, KeysOutsideLatin1AreRefused)
{
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"get"}, {"delete"}, {"update", "--set", "a=S:1"}}) {
        std::vector<std::string> hash = words;
        hash.insert(hash.end(), {table(), "✓", "r"});
        expectFailure(hash, Usage, "quorvactl: the hash key has a character outside Latin-1: \"✓\"\n");
        std::vector<std::string> range = words;
        range.insert(range.end(), {table(), "k", "\xff"});
        expectFailure(range, Usage, "quorvactl: the range key is not UTF-8\n");
    }
}

TEST_F(ItemCommands, ATableThatIsNotThereIsToldByName)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {table("none"), Complaints::notFound("there is no table " + table("none"))},
        {"/nowhere|t", Complaints::noDirectory("cannot find the table /nowhere|t", "/nowhere")}};
    for (const auto& [name, complaint] : cases) {
        for (const std::vector<std::string>& words :
             std::vector<std::vector<std::string>>{{"get", name, "k", "r"},
                                                   {"delete", name, "k", "r"},
                                                   {"update", name, "k", "r", "--set", "a=S:1"},
                                                   {"put", name, "h=S:k", "r=S:r"}})
            expectFailure(words, ErrorReply, complaint);
    }
}

TEST_F(ItemCommands, AFailureInsideTheServerIsTold)
{
    breakHashKey("k");
    expectFailure({"get", table(), "k", "r"}, ErrorReply, Complaints::internalError("cannot read " + item()));
    expectFailure({"delete", table(), "k", "r"}, ErrorReply, Complaints::internalError("cannot delete " + item()));
    expectFailure({"update", table(), "k", "r", "--set", "a=S:1"}, ErrorReply,
                  Complaints::internalError("cannot update " + item()));
    expectFailure({"put", table(), "h=S:k", "r=S:r"}, ErrorReply,
                  Complaints::internalError("cannot store the item in " + table()));
}

TEST_F(ItemCommands, WithoutAServerNothingIsDone)
{
    killServer();
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"get", table(), "k", "r"},
                                               {"delete", table(), "k", "r"},
                                               {"update", table(), "k", "r", "--set", "a=S:1"},
                                               {"put", table(), "h=S:k", "r=S:r"}})
        expectFailure(words, NoReply, Complaints::noServer(server_.port()));
}
