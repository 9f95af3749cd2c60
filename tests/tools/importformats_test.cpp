#include "importfixture.h"

#include "support/gzipped.h"
#include "support/lines.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

class ImportFormats : public ToolTest {
protected:
    /** A compressed file, whatever its name is. */
    std::string writeCompressed(const std::string& name, const std::string& content) const
    {
        return writeFile(name, gzipped(content));
    }

    /** All items, in the order of their keys. */
    std::string items() const { return sorted(quorvactl({"scan", table()}).output); }

    static std::string sorted(const std::string& unsorted)
    {
        std::vector<std::string> lines = linesOf(unsorted);
        std::sort(lines.begin(), lines.end());
        std::string text;
        for (const std::string& line : lines)
            text += line + '\n';
        return text;
    }
};

} // namespace

TEST_F(ImportFormats, CsvHasAnItemPerRecord)
{
    const std::string file = writeFile("items.csv", "\xef\xbb\xbfh,r,total:N,note,tags:SS\r\n"
                                                    "a,1,17,\"says \"\"x, y\"\"\nand more\",\"new,paid\"\r\n"
                                                    "\r\n"
                                                    "b,,,,\r\n"
                                                    "größer,2,-1.5,\"\",x");
    expectOutput({"import", table(), file, "--format", "csv"}, "");
    EXPECT_EQ(items(),
              R"({"h":{"S":"a"},"note":{"S":"says \"x, y\"\nand more"},"r":{"S":"1"},"tags":{"SS":["new","paid"]},)"
              R"("total":{"N":"17"}})"
              "\n"
              R"({"h":{"S":"b"},"r":{"S":""}})"
              "\n"
              R"({"h":{"S":"größer"},"note":{"S":""},"r":{"S":"2"},"tags":{"SS":["x"]},"total":{"N":"-1.5"}})"
              "\n");
}

TEST_F(ImportFormats, CsvTakesTypesFromTheCommandLine)
{
    const std::string file = writeFile("items.csv", "r,h,total,a:N\n1,x,17,text\n");
    expectOutput({"import", table(), file, "--format", "csv", "--types", "total=N,a:N=S"}, "");
    EXPECT_EQ(items(), R"({"a:N":{"S":"text"},"h":{"S":"x"},"r":{"S":"1"},"total":{"N":"17"}})"
                       "\n");
    expectFailure({"import", table(), file, "--types", "total=N"}, Usage,
                  "quorvactl: --types is for --format csv; items in JSON have their types\n");
}

TEST_F(ImportFormats, CsvReportsTheFirstLineOfARecordThatCannotBeStored)
{
    const std::string file = writeFile("items.csv", "h,r,n:N\n"
                                                    "a,1,x\n"
                                                    "\"b\n\n\",2\n"
                                                    "c,\xc3,1\n"
                                                    "\xd0\x96,4,1\n"
                                                    "e\"f,5,1\n"
                                                    "g,6,1\n"
                                                    "\"h,7,1\n");
    const ProgramRun run = quorvactl({"import", table(), file, "--format", "csv"});
    EXPECT_EQ(run.status, ErrorReply);
    const std::string at = "quorvactl: " + file + ':';
    EXPECT_EQ(run.error, at + "2: attribute \"n\": \"x\" is not a number\n" + at +
                             "3: there are 2 fields, and the header line has 3\n" + at +
                             "6: attribute \"r\": not UTF-8\n" + at +
                             "7: the hash key \"h\" has a character outside Latin-1: \"Ж\"\n" + at +
                             "8: there is a quote in a field that does not begin with one\n" + at +
                             "10: a quote is not closed\nquorvactl: 6 items of " + file +
                             " were refused, 1 stored in " + table() + '\n');
    expectOutput({"scan", table(), "--count"}, "1\n");
}

TEST_F(ImportFormats, CsvWithoutAUsableHeaderLineIsNotSent)
{
    for (const auto& [content, error] : {std::pair("", "the first line is not a header line"),
                                         std::pair("\nh,r\n", "the first line is not a header line"),
                                         std::pair("h,x\n1,2\n", "the header line has no column \"r\", the range key"),
                                         std::pair("\"h,r\n", "a quote is not closed")}) {
        const std::string file = writeFile("items.csv", content);
        expectFailure({"import", table(), file, "--format", "csv"}, Usage, "quorvactl: " + file + ": " + error + '\n');
    }
}

TEST_F(ImportFormats, CsvResumesAfterTheLinesThatAreDone)
{
    const std::string header = "h,r\n";
    const std::string file = writeFile("items.csv", header + "\"a\n\",1\nb,2\nc,3\n");
    expectOutput({"import", table(), file, "--format", "csv", "--skip", "4"}, "");
    EXPECT_EQ(items(), R"({"h":{"S":"c"},"r":{"S":"3"}})"
                       "\n");
    // The header line is read, however many lines are skipped.
    expectOutput({"import", table(), file, "--format", "csv", "--skip", "1"}, "");
    expectOutput({"scan", table(), "--count"}, "3\n");

    const std::string state = writeFile("state", R"({"table":")" + table() + R"(","input":")" + file +
                                                     R"(","line":3,"stored":1,"refused":0})");
    expectOutput({"delete", table(), "a\n", "1"}, "");
    expectOutput({"import", table(), file, "--format", "csv", "--state", state}, "");
    expectOutput({"scan", table(), "--count"}, "2\n");
    EXPECT_FALSE(std::filesystem::exists(state));
}

TEST_F(ImportFormats, CsvCountsTheLinesOfARecordWhenItStops)
{
    const std::string path = pathOf("pipe");
    Feed feed(path);
    RunningProgram import(QUORVACTL_BINARY, addressed({"import", table(), path, "--format", "csv"}));
    feed.write("h,r\n\"a\n\n\",1\nb,2\n\"not complete\n");
    ASSERT_TRUE(waitUntil([&] { return quorvactl({"scan", table(), "--count"}).output == "2\n"; }));
    import.signal(SIGTERM);
    const ProgramRun run = import.wait();
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: import stopped: interrupted\n  lines 1 to 5 of " + path +
                             " are done: 2 items stored, 0 refused\n"
                             "  try: the same command with --skip 5, which continues with line 6\n");
}

TEST_F(ImportFormats, GzipIsRecognizedByItsContent)
{
    expectOutput({"import", table(), writeCompressed("items.jsonl", itemLines(1, 5000))}, "");
    expectOutput({"scan", table(), "--count"}, "5000\n");
    expectOutput({"import", table(), "-", "--format", "csv"}, "",
                 {.input = writeCompressed("items", "h,r\nzipped,csv\n")});
    expectOutput({"get", table(), "zipped", "csv"}, R"({"h":{"S":"zipped"},"r":{"S":"csv"}})"
                                                    "\n");
}

TEST_F(ImportFormats, GzipThatIsDamagedEndsTheImportAfterWhatPrecedesTheDamage)
{
    const std::string whole = readFile(writeCompressed("items", itemLines(1, 5000)));
    const std::string file = writeFile("cut", whole.substr(0, whole.size() / 2));
    const ProgramRun run = quorvactl({"import", table(), file});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_THAT(run.error, testing::StartsWith("quorvactl: import stopped: cannot read " + file +
                                               ": the compressed data ends too early\n  lines 1 to "));
    const std::string count = quorvactl({"scan", table(), "--count"}).output;
    EXPECT_THAT(run.error, HasSubstr(" are done: " + count.substr(0, count.size() - 1) + " items stored, 0 refused\n"));
}

TEST_F(ImportFormats, DynamodbJsonWrapsTheLinesOfAnExport)
{
    const std::vector<std::string> lines{
        R"({"S":{"S":"{\"Item\":{}}"},"h":{"S":""},"r":{"S":"é"}})",
        R"({"b":{"B":"YWI="},"h":{"S":"a"},"n":{"N":"1.50"},"r":{"S":"1"},"ss":{"SS":["b","a"]}})",
        R"({"h":{"S":"a"},"l":{"L":[{"BOOL":true},{"M":{"x":{"NULL":true}}}]},"r":{"S":"2"}})",
    };
    std::string plain;
    std::string wrapped;
    for (const std::string& line : lines) {
        plain += line + '\n';
        wrapped += "{\"Item\":" + line + "}\n";
    }
    expectOutput({"import", table(), writeFile("plain", plain)}, "");
    const std::string file = pathOf("wrapped");
    expectOutput({"export", table(), file, "--format", "dynamodb-json"}, "");
    expectOutput({"export", table(), "--format", "dynamodb-json"}, readFile(file));
    EXPECT_EQ(sorted(readFile(file)), sorted(wrapped));

    createTable(tableName("copy"));
    expectOutput({"import", table("copy"), file, "--format", "dynamodb-json"}, "");
    EXPECT_EQ(sorted(quorvactl({"export", table("copy"), "--format", "json"}).output), sorted(plain));
    expectFailure({"export", table(), "--format", "csv"}, Usage,
                  "quorvactl export: --format: csv not in {json,dynamodb-json}\n"
                  "Usage: quorvactl export [OPTIONS] TABLE [FILE]\nRun with --help for more information.\n");
}

TEST_F(ImportFormats, DynamodbJsonIsReadAsOtherProgramsWriteIt)
{
    const std::string file = writeCompressed("items.json.gz", "{\"Item\":{\"h\":{\"S\":\"a\"},\"r\":{\"S\":\"1\"}}}\n"
                                                              " {  \"Item\" :\t{ \"h\":{\"S\":\"a\"}, \"r\":"
                                                              "{\"S\":\"2\"} } } \r\n"
                                                              "\n"
                                                              "{\"Item\":{\"h\":{\"S\":\"a\"},\"r\":{\"S\":\"3\"}}}");
    expectOutput({"import", table(), file, "--format", "dynamodb-json"}, "");
    EXPECT_EQ(items(), R"({"h":{"S":"a"},"r":{"S":"1"}})"
                       "\n"
                       R"({"h":{"S":"a"},"r":{"S":"2"}})"
                       "\n"
                       R"({"h":{"S":"a"},"r":{"S":"3"}})"
                       "\n");
    for (const char* range : {"1", "2", "3"})
        expectOutput({"delete", table(), "a", range}, "");
    const std::string state = writeFile("state", R"({"table":")" + table() + R"(","input":")" + file +
                                                     R"(","line":2,"stored":2,"refused":0})");
    expectOutput({"import", table(), file, "--format", "dynamodb-json", "--state", state}, "");
    EXPECT_EQ(items(), R"({"h":{"S":"a"},"r":{"S":"3"}})"
                       "\n");
    EXPECT_FALSE(std::filesystem::exists(state));
}

TEST_F(ImportFormats, DynamodbJsonReportsLinesOfAnyOtherForm)
{
    const std::string form = R"(the line is not of the form {"Item": {...}})";
    const std::vector<std::pair<std::string, std::string>> cases{
        {R"({"h":{"S":"a"},"r":{"S":"1"}})", form},
        {R"({"Item":5})", form},
        {R"({"Item":{"h":{"S":"a"},"r":{"S":"1"}})",
         "the line is not valid JSON, at character 29: Missing a comma or '}' after an object member"},
        {R"({"Item":{"h":{"S":"a"},"r":{"S":"1"}},"Keys":1})", form},
        {R"({"NewImage":{"h":{"S":"a"},"r":{"S":"1"}}})", form},
        {R"({"Item"})", form},
        {"{", form},
        {R"({"Item":{"h":{"S":"a"}}})", R"(the range key "r" is missing)"},
        {R"({"Item":{"h":{"N":"1"},"r":{"S":"1"}}})", R"(the hash key "h" is not a string, {"S": "..."})"},
    };
    std::string lines;
    std::string complaints;
    const std::string file = pathOf("items");
    for (std::size_t i = 0; i < cases.size(); ++i) {
        lines += cases[i].first + '\n';
        complaints += "quorvactl: " + file + ':' + std::to_string(i + 1) + ": " + cases[i].second + '\n';
    }
    writeFile("items", lines);
    expectFailure({"import", table(), file, "--format", "dynamodb-json"}, ErrorReply,
                  complaints + "quorvactl: " + std::to_string(cases.size()) + " items of " + file +
                      " were refused, 0 stored in " + table() + '\n');
    EXPECT_EQ(items(), "");
}

TEST_F(ImportFormats, ProgressGoesToALogWhenItIsAskedFor)
{
    const std::string file = writeFile("items", itemLines(1, 20));
    const ProgramRun import = quorvactl({"import", table(), file, "--progress"});
    EXPECT_EQ(import.status, Ok);
    EXPECT_THAT(import.error, testing::MatchesRegex("\\[=+\\]  100 %  20 items  [0-9]+/s\n"));
    const ProgramRun exported = quorvactl({"export", table(), pathOf("exported"), "--progress"});
    EXPECT_EQ(exported.status, Ok);
    EXPECT_THAT(exported.error, testing::MatchesRegex("\\[=+\\]  100 %  20 items  [0-9]+/s\n"));
    const ProgramRun printed = quorvactl({"export", table(), "--progress"});
    EXPECT_THAT(printed.error, testing::MatchesRegex("\\[=+\\]  100 %  20 items  [0-9]+/s\n"));
    EXPECT_EQ(printed.output, readFile(pathOf("exported")));
}
