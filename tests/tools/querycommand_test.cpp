#include "querycommandfixture.h"

#include "tools/complaints.h"

namespace {

using testing::HasSubstr;

} // namespace

TEST_F(QueryCommand, PrintsTheItemsOfAHashKeyInTheOrderOfTheirRangeKeys)
{
    expectRanges({}, Ranges);
    expectRanges({"--backward"}, downwards(Ranges));
}

TEST_F(QueryCommand, PrintsOneItemALineAsJson)
{
    const ProgramRun run = query({"k", "--eq", "ab"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, R"({"a":{"S":"aab"},"b":{"S":"b"},"c":{"N":"7"},"h":{"S":"k"},"r":{"S":"ab"}})"
                          "\n");
    EXPECT_EQ(run.error, "");
}

TEST_F(QueryCommand, FindsHashKeysBeyondAscii)
{
    put(EAcute, YDiaeresis, {});
    EXPECT_EQ(keysIn(query({EAcute.toStdString()}), "r"), QStringList{YDiaeresis});
    EXPECT_EQ(keysIn(query({EAcute.toStdString()}), "h"), QStringList{EAcute});
    put("-x", "r", {});
    EXPECT_EQ(keysIn(query({"--", "-x"}), "h"), QStringList{"-x"});
    EXPECT_EQ(keysIn(query({"nobody"}), "h"), QStringList());
}

TEST_F(QueryCommand, PrintsEachItemOnceWhileOthersComeAndGo)
{
    const Churn churn(server_, tableName(),
                      [](int i) { return std::pair(QString("k"), QString("ab%1").arg(i, 2, 10, QChar('0'))); });
    const auto stable = [this](const ProgramRun& run) {
        QStringList ranges = keysIn(run, "r");
        EXPECT_EQ(QSet<QString>(ranges.begin(), ranges.end()).size(), ranges.size()) << "some came twice";
        ranges.removeIf([this](const QString& range) { return !Ranges.contains(range); });
        return ranges;
    };
    for (int i = 0; i < 5; ++i) {
        for (const std::string limit : {"1", "2", "3"}) {
            EXPECT_EQ(stable(query({"k", "--limit", limit})), Ranges);
            EXPECT_EQ(stable(query({"k", "--limit", limit, "--backward"})), downwards(Ranges));
            EXPECT_EQ(stable(query({"k", "--limit", limit, "--begins-with", "ab"})), (QStringList{"ab", "abc"}));
            EXPECT_EQ(stable(query({"k", "--limit", limit, "--begins-with", "ab", "--backward"})),
                      (QStringList{"abc", "ab"}));
        }
    }
}

TEST_F(QueryCommand, StopsAfterTheMost)
{
    for (const std::string& limit : Limits) {
        EXPECT_EQ(keysIn(query({"k", "--max", "3", "--limit", limit}), "r"), Ranges.mid(0, 3));
        EXPECT_EQ(keysIn(query({"k", "--max", "2", "--begins-with", "a", "--limit", limit}), "r"),
                  (QStringList{"a", "a a"}));
        EXPECT_EQ(keysIn(query({"k", "--max", "100", "--limit", limit}), "r"), Ranges);
        EXPECT_EQ(keysIn(query({"k", "--max", "0", "--limit", limit}), "r"), QStringList());
    }
}

TEST_F(QueryCommand, PrintsTheCountInstead)
{
    for (const std::string& limit : Limits) {
        EXPECT_EQ(query({"k", "--count", "--limit", limit}).output, std::to_string(Ranges.size()) + '\n');
        EXPECT_EQ(query({"k", "--count", "--begins-with", "a", "--limit", limit}).output, "4\n");
        EXPECT_EQ(query({"nobody", "--count", "--limit", limit}).output, "0\n");
    }
}

TEST_F(QueryCommand, PrintsTheNamedAttributesAndTheKeys)
{
    const ProgramRun run = query({"k", "--eq", "ab", "--attributes", "a,c,none"});
    EXPECT_EQ(run.output, R"({"a":{"S":"aab"},"c":{"N":"7"},"h":{"S":"k"},"r":{"S":"ab"}})"
                          "\n");
    expectRanges({"--attributes", "none"}, Ranges);
    expectRanges({"--attributes", "none", "--begins-with", "a"}, {"a", "a a", "ab", "abc"});
}

TEST_F(QueryCommand, AnErrorReplyIsReportedAndExitsWithOne)
{
    const std::string none = tableName("none").toStdString();
    const ProgramRun unknown = quorvactl({"query", none, "k"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.output, "");
    EXPECT_EQ(unknown.error, Complaints::notFound("there is no table " + none));

    const ProgramRun prefix = quorvactl({"query", none, "k", "--begins-with", "a"});
    EXPECT_EQ(prefix.status, 1);
    EXPECT_EQ(prefix.output, "");
    EXPECT_EQ(prefix.error, Complaints::notFound("there is no table " + none));

    // A key with a character that keys cannot contain.
    const std::string foreign = QString(QChar(0x416)).toStdString();
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{foreign},
                                               {"k", "--eq", foreign},
                                               {"k", "--begins-with", foreign},
                                               {"k", "--begins-with", foreign, "--backward"}}) {
        const ProgramRun refused = query(words);
        EXPECT_EQ(refused.status, 1) << testing::PrintToString(words);
        EXPECT_EQ(refused.output, "");
        EXPECT_EQ(refused.error, Complaints::errorReply("cannot read the table " + tableName().toStdString(),
                                                        Complaints::InvalidRequest, "keys of Latin-1 characters only"));
    }
}

TEST_F(QueryCommand, WhatCannotBePrintedExitsWithTwo)
{
    const ProgramRun run = query({"k"}, {.output = "/dev/full"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.error, "quorvactl: cannot write standard output\n");
}

TEST_F(QueryCommand, AServerThatIsGoneExitsWithTwo)
{
    killServer();
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"k"}, {"k", "--begins-with", "a"}}) {
        const ProgramRun run = query(words);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, Complaints::noServer(server_.port()));
    }
}

TEST_F(QueryCommand, WrongCommandLineIsAUsageError)
{
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{},
                                               {"k", "more"},
                                               {"k", "--eq"},
                                               {"k", "--eq", "a", "--lt", "b"},
                                               {"k", "--begins-with", "a", "--between", "a", "b"},
                                               {"k", "--between", "a"},
                                               {"k", "--between", "a", "b", "c"},
                                               {"k", "--limit", "0"},
                                               {"k", "--limit", "x"},
                                               {"k", "--max", "-1"},
                                               {"k", "--max", "1", "--count"},
                                               {"k", "--unknown"}}) {
        const ProgramRun run = query(words);
        EXPECT_EQ(run.status, 64) << testing::PrintToString(words);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error, HasSubstr("Run with --help for more information."));
    }
}
