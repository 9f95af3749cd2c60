#include "itemcommandsfixture.h"

namespace {

const std::string Absent = "  try: a condition on an attribute that every item has\n";

} // namespace

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
        const std::string why = '"' + number + "\" of \"n\" is not a 64-bit integer; the server would treat it as 0\n";
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
                      ": the stored \"1.5\" of \"half\" is not a 64-bit integer; the server would treat it as 0\n");
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
