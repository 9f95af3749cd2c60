#include "importfixture.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

} // namespace

TEST_F(ImportCommand, ReportsTheLinesThatItRefusesAndStoresTheOthers)
{
    std::string text = itemLines(1, 2);
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\"}\n";       // 3
    text += "\n";                                               // 4, not an item
    text += "{\"r\":{\"S\":\"x\"}}\n";                          // 5
    text += "{\"h\":{\"S\":\"k\"}}\n";                          // 6
    text += "{\"h\":{\"N\":\"1\"},\"r\":{\"S\":\"x\"}}\n";      // 7
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"\u2713\"}}\n"; // 8
    text += "[\"h\"]\n";                                        // 9
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\xff\"}}\n";  // 10
    text += itemLines(11, 12);
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\"},\"a\":{\"S\":\"" + std::string(512 * 1024, 'x') + "\"}}\n"; // 13
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\"},\"a\":" + std::string(995, '[') + std::string(995, ']') + "}\n";
    text += std::string(17 * 1024 * 1024, 'x') + '\n';        // 15
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\"}} {}\n"; // 16
    text +=
        "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"deep\"},\"a\":" + std::string(994, '[') + std::string(994, ']') + "}\n";
    text += itemLines(18, 40);
    const std::string file = writeFile("items", text);
    const std::string at = "quorvactl: " + file + ':';
    expectFailure(
        {"import", table(), file}, ErrorReply,
        at + "3: the line is not valid JSON, at character 29: Missing a comma or '}' after an object member\n" + at +
            "5: the hash key \"h\" is missing\n" + at + "6: the range key \"r\" is missing\n" + at +
            "7: the hash key \"h\" is not a string, {\"S\": \"...\"}\n" + at +
            "8: the range key \"r\" has a character outside Latin-1: \"\u2713\"\n" + at +
            "9: the line is not a JSON object, {...}\n" + at +
            "10: the line is not valid JSON, at character 26: A string is not UTF-8, or escapes half of a surrogate "
            "pair\n" +
            at + "13: the item is larger than 512 KiB and could not be read back\n" + at +
            "14: the item is nested too deeply\n" + at + "15: the line is too long for an item\n" + at +
            "16: the line is not valid JSON, at character 31: The document root must not be followed by other values\n"
            "quorvactl: 11 items of " +
            file + " were refused, 28 stored in " + table() + '\n');
    EXPECT_EQ(count(), 28);
    expectFailure({"import", table()}, ErrorReply,
                  "quorvactl: standard input:1: the line is not valid JSON, at character 1: Invalid value\n"
                  "quorvactl: 1 item of standard input was refused, 0 stored in " +
                      table() + '\n',
                  {.input = writeFile("bad", "x")});
}

TEST_F(ImportCommand, StopsAtTheBeginningOfAnInputOfAnotherFormat)
{
    std::string csv = "h,r,v\n";
    for (int i = 0; i < 500; ++i)
        csv += "k," + std::to_string(i) + ",x\n";
    const std::string file = writeFile("items.csv", csv);
    const ProgramRun run = quorvactl({"import", table(), file});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(std::count(run.error.begin(), run.error.end(), '\n'), 22);
    EXPECT_THAT(run.error, EndsWith("quorvactl: import stopped: none of the first 20 items of " + file +
                                    " can be stored\n  try: --format csv, if that is its format; or --skip, to "
                                    "skip lines\n"));
    EXPECT_EQ(count(), 0);
    const ProgramRun untyped = quorvactl({"import", table(), file, "--format", "csv", "--types", "v=N"});
    EXPECT_THAT(untyped.error, EndsWith("\n  try: the types that the columns have, in the header or with --types\n"));
    expectOutput({"import", table(), file, "--format", "csv"}, "");
    EXPECT_EQ(count(), 500);
    // An item among the first ones shows that the format is right.
    std::string bad = itemLine("k", 1000);
    for (int i = 0; i < 30; ++i)
        bad += "x\n";
    EXPECT_THAT(quorvactl({"import", table(), writeFile("bad", bad)}).error,
                EndsWith(" 30 items of " + pathOf("bad") + " were refused, 1 stored in " + table() + '\n'));
}

TEST_F(ImportCommand, RefusesOnlyThoseItemsOfABatchThatTheServerRefuses)
{
    breakHashKey("broken");
    const std::string file = writeFile("items", itemLines(1, 10) + itemLine("broken", 11) + itemLines(12, 30) +
                                                    itemLine("broken", 31) + itemLines(32, 60));
    const std::string refused = ": the server refused it: " + std::string(Complaints::InternalError) + '\n';
    expectFailure({"import", table(), file}, ErrorReply,
                  "quorvactl: " + file + ":11" + refused + "quorvactl: " + file + ":31" + refused +
                      "quorvactl: 2 items of " + file + " were refused, 58 stored in " + table() + '\n');
    EXPECT_EQ(get("k", "10").value("Item").toMap(), (QVariantMap{{"n", numberValue("10")}}));
    EXPECT_EQ(get("k", "12").value("Item").toMap(), (QVariantMap{{"n", numberValue("12")}}));
    expectOutput({"query", table(), "k", "--count"}, "58\n");
}

TEST_F(ImportCommand, StopsWhenTheServerRefusesEverything)
{
    breakHashKey("broken");
    const std::string file = writeFile("items", itemLines(1, 30) + itemLines(31, 400, "broken"));
    for (const bool hasState : {false, true}) {
        std::vector<std::string> words{"import", table(), file};
        if (hasState)
            words.insert(words.end(), {"--state", state()});
        const ProgramRun run = quorvactl(words);
        EXPECT_EQ(run.status, ErrorReply);
        EXPECT_THAT(run.error,
                    AllOf(HasSubstr(file + ":31: "), HasSubstr(file + ":130: "), Not(HasSubstr(":131: ")),
                          EndsWith(stopped("the server refused 100 items in a row", file, 30, 30, 0, hasState))));
    }
    EXPECT_EQ(stateLine(), 30);
    expectOutput({"query", table(), "k", "--count"}, "30\n");
}

TEST_F(ImportCommand, BinaryThatIsNoBase64IsRefused)
{
    const std::string good = R"({"h":{"S":"k"},"r":{"S":"1"},"b":{"B":"YQ=="},"c":{"B":7},"d":["untyped"]})";
    const std::string bad = R"({"h":{"S":"k"},"r":{"S":"2"},"b":{"B":"YQ"}})";
    const std::string badSet = R"({"h":{"S":"k"},"r":{"S":"3"},"b":{"BS":["YQ==","?"]}})";
    const ProgramRun run =
        quorvactl({"import", table()}, {.input = writeFile("items", good + '\n' + bad + '\n' + badSet + '\n')});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: standard input:2: attribute \"b\": \"YQ\" is not base64\n"
                         "quorvactl: standard input:3: attribute \"b\": \"?\" is not base64\n"
                         "quorvactl: 2 items of standard input were refused, 1 stored in " +
                             table() + "\n");
    EXPECT_EQ(count(), 1);
}

TEST_F(ImportCommand, KeysThatCannotBeReadBackAreRefused)
{
    const auto line = [](int range) {
        return R"({"h":{"S":"k"},"r":{"S":")" + std::string(static_cast<std::size_t>(range), 'r') + "\"}}\n";
    };
    const ProgramRun run = quorvactl({"import", table()}, {.input = writeFile("items", line(4091) + line(4092))});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_THAT(run.error, testing::StartsWith("quorvactl: standard input:2: the two keys are longer than 4092"));
    EXPECT_EQ(count(), 1);
}
