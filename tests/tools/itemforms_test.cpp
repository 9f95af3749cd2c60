#include "toolfixture.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

/** A table with three orders of two customers. */
class ItemForms : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        for (const std::string item :
             {R"({"h":{"S":"abc"},"r":{"S":"1"},"total":{"N":"17"},"tags":{"SS":["new","paid"]}})",
              R"({"h":{"S":"abc"},"r":{"S":"2"},"total":{"N":"9"},"note":{"S":"größer\u001b[2J"}})",
              R"({"h":{"S":"xyz"},"r":{"S":"1"},"total":{"N":"100.5"}})"})
            EXPECT_EQ(quorvactl({"put", table(), item}).status, Ok) << item;
    }
};

constexpr const char* First = R"({"h":{"S":"abc"},"r":{"S":"1"},"tags":{"SS":["new","paid"]},"total":{"N":"17"}})"
                              "\n";
constexpr const char* Third = R"({"h":{"S":"xyz"},"r":{"S":"1"},"total":{"N":"100.5"}})"
                              "\n";

} // namespace

TEST_F(ItemForms, PrettyHasOneAttributePerLine)
{
    const std::string pretty = "{\n  \"h\": {\"S\": \"abc\"},\n  \"r\": {\"S\": \"2\"},\n"
                               "  \"note\": {\"S\": \"größer\\u001B[2J\"},\n  \"total\": {\"N\": \"9\"}\n}\n";
    expectOutput({"get", table(), "abc", "2", "--pretty"}, pretty);
    expectOutput({"query", table(), "abc", "--gt", "1", "--pretty"}, pretty);
    expectOutput({"scan", table(), "--filter", "note", "--pretty"}, pretty);
    expectOutput({"scan", table(), "--filter", "none", "--pretty"}, "");
}

TEST_F(ItemForms, TableHasALinePerItemInColumns)
{
    expectOutput({"query", table(), "abc", "--table"}, "h    r  note             tags         total\n"
                                                       "---  -  ---------------  -----------  -----\n"
                                                       "abc  1                   {new, paid}     17\n"
                                                       "abc  2  größer\\u001b[2J                   9\n");
    expectOutput({"get", table(), "xyz", "1", "--table"}, "h    r  total\n---  -  -----\nxyz  1  100.5\n");
    expectOutput({"query", table(), "abc", "--table", "--attributes", "total,tags"},
                 "h    r  total  tags\n---  -  -----  -----------\nabc  1     17  {new, paid}\nabc  2      9\n");
    expectOutput({"query", table(), "none", "--table"}, "");
}

TEST_F(ItemForms, FilterLetsMatchingItemsThrough)
{
    expectOutput({"scan", table(), "--filter", "total>N:100"}, Third);
    expectOutput({"query", table(), "abc", "--filter", "tags*=S:paid", "--filter", "total=N:17.0"}, First);
    expectOutput({"scan", table(), "--filter", "total<N:100", "--count"}, "2\n");
    expectOutput({"scan", table(), "--filter", "h=S:xyz"}, Third);
    expectOutput({"query", table(), "abc", "--backward", "--filter", "!note", "--max", "1"}, First);
    expectOutput({"scan", table(), "--limit", "1", "--filter", "total<N:0"}, "");
}

TEST_F(ItemForms, FilterTestsAttributesThatAreNotPrinted)
{
    expectOutput({"scan", table(), "--filter", "total>N:100", "--attributes", "note"},
                 R"({"h":{"S":"xyz"},"r":{"S":"1"}})"
                 "\n");
    expectOutput({"query", table(), "abc", "--filter", "total=N:17", "--attributes", "tags"},
                 R"({"h":{"S":"abc"},"r":{"S":"1"},"tags":{"SS":["new","paid"]}})"
                 "\n");
    expectOutput({"query", table(), "abc", "--filter", "r=S:1", "--attributes", "total", "--filter", "total>N:1"},
                 R"({"h":{"S":"abc"},"r":{"S":"1"},"total":{"N":"17"}})"
                 "\n");
}

TEST_F(ItemForms, MistakesAreReportedBeforeAnythingIsRead)
{
    expectFailure({"scan", table(), "--filter", "total<SS:a"}, Usage,
                  "quorvactl: --filter: <, <=, > and >= do not work with a value of type SS\n");
    for (const char* other : {"--table", "--count"}) {
        const ProgramRun run = quorvactl({"scan", table(), "--pretty", other});
        EXPECT_EQ(run.status, Usage) << other;
        EXPECT_THAT(run.error, HasSubstr("excludes"));
    }
    expectFailure({"scan", table("none"), "--table"}, ErrorReply,
                  "quorvactl: there is no table " + table("none") +
                      "\n  the server says: Not Found, ResourceNotFoundException: Specified item does not exist.\n"
                      "  try: the spelling, or quorvactl create-table\n");
}

TEST_F(ItemForms, WhatCannotBePrintedIsReported)
{
    for (const char* form : {"--pretty", "--table"}) {
        const ProgramRun run = quorvactl({"scan", table(), form}, {.output = "/dev/full"});
        EXPECT_EQ(run.status, NoReply) << form;
        EXPECT_EQ(run.error, "quorvactl: cannot write standard output\n");
    }
}

TEST_F(ItemForms, BinaryValuesComeFromFiles)
{
    const std::string path = writeFile("bytes", std::string("a\0\xff", 3));
    EXPECT_EQ(quorvactl({"put", table(), "h=S:b", "r=S:", "raw=B:@" + path}).status, Ok);
    expectOutput({"get", table(), "b", ""}, R"({"h":{"S":"b"},"r":{"S":""},"raw":{"B":"YQD/"}})"
                                            "\n");
    expectOutput({"scan", table(), "--filter", "raw=B:@" + path, "--count"}, "1\n");
    EXPECT_EQ(quorvactl({"update", table(), "b", "", "--set", "raw=B:@" + writeFile("empty", "")}).status, Ok);
    expectOutput({"get", table(), "b", ""}, R"({"h":{"S":"b"},"r":{"S":""},"raw":{"B":""}})"
                                            "\n");
    expectFailure({"put", table(), "h=S:c", "r=S:", "raw=B:@/none"}, Usage,
                  "quorvactl: attribute \"raw\": cannot read /none: No such file or directory\n");
    expectFailure(
        {"put", table(), "h=S:c", "r=S:", "raw=B:@" + writeFile("large", std::string(512 * 1024 + 1, 'x'))}, Usage,
        "quorvactl: attribute \"raw\": " + pathOf("large") + " has more than 512 KiB, which no item can have\n");
}
