#include "readcommandfixture.h"

#include "tools/complaints.h"

#include <algorithm>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

// Latin-1 letters beyond ASCII; the last one is the largest byte.
const QString EAcute = QChar(0xe9);
const QString YDiaeresis = QChar(0xff);

const std::vector<std::string> Limits{"1", "2", "3", "128"};

class QueryCommand : public ReadCommandTest {
protected:
    void SetUp() override
    {
        ReadCommandTest::SetUp();
        for (const QString& range : Ranges)
            put("k", range, {{"a", textValue('a' + range)}, {"b", textValue("b")}, {"c", numberValue("7")}});
        put("j", "ab", {{"a", textValue("of another hash key")}});
        put("l", "ab", {{"a", textValue("of another hash key")}});
    }

    /** In the order of their bytes. */
    const QStringList Ranges{"",
                             "%%",
                             "-5",
                             "A",
                             "a",
                             "a a",
                             "ab",
                             "abc",
                             "b",
                             "ba",
                             EAcute,
                             YDiaeresis,
                             YDiaeresis + "a",
                             YDiaeresis + YDiaeresis};

    static QStringList downwards(QStringList list)
    {
        std::reverse(list.begin(), list.end());
        return list;
    }

    QStringList rangesWhere(const std::function<bool(const QByteArray&)>& wanted) const
    {
        QStringList list;
        for (const QString& range : Ranges) {
            if (wanted(range.toLatin1()))
                list.append(range);
        }
        return list;
    }

    /** What `query TABLE k ARGUMENTS` prints, whatever the size of its pages. */
    void expectRanges(const std::vector<std::string>& arguments, const QStringList& expected) const
    {
        for (const std::string& limit : Limits) {
            std::vector<std::string> words{"query", tableName().toStdString(), "k", "--limit", limit};
            words.insert(words.end(), arguments.begin(), arguments.end());
            EXPECT_EQ(keysIn(quorvactl(words), "r"), expected) << testing::PrintToString(words);
        }
    }

    ProgramRun query(std::vector<std::string> arguments, const ProgramFiles& files = {}) const
    {
        arguments.insert(arguments.begin(), {"query", tableName().toStdString()});
        return quorvactl(arguments, files);
    }
};

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

TEST_F(QueryCommand, ComparesWithOneValue)
{
    for (const QString& value : {QString("ab"), QString("aa"), QString("-5"), EAcute, YDiaeresis, QString("zz")}) {
        const QByteArray bytes = value.toLatin1();
        const std::string text = value.toStdString();
        expectRanges({"--eq", text}, rangesWhere([&](const QByteArray& range) { return range == bytes; }));
        expectRanges({"--gt", text}, rangesWhere([&](const QByteArray& range) { return range > bytes; }));
        expectRanges({"--ge", text}, rangesWhere([&](const QByteArray& range) { return range >= bytes; }));
        // These two walk down from the value.
        expectRanges({"--lt", text}, downwards(rangesWhere([&](const QByteArray& range) { return range < bytes; })));
        expectRanges({"--le", text}, downwards(rangesWhere([&](const QByteArray& range) { return range <= bytes; })));
    }
}

TEST_F(QueryCommand, AConditionDecidesTheDirectionByItself)
{
    expectRanges({"--ge", "ab", "--backward"},
                 rangesWhere([](const QByteArray& range) { return range >= QByteArray("ab"); }));
    expectRanges({"--between", "a", "ab", "--backward"}, {"a", "a a", "ab"});
    expectRanges({"--lt", "a", "--backward"}, {"A", "-5", "%%", ""});
}

TEST_F(QueryCommand, ComparesWithTheEmptyKey)
{
    expectRanges({"--eq", ""}, {""});
    expectRanges({"--ge", ""}, Ranges);
    expectRanges({"--gt", ""}, Ranges.mid(1));
    expectRanges({"--le", "%"}, {""});
}

TEST_F(QueryCommand, ComparesWithTwoValuesBothIncluded)
{
    expectRanges({"--between", "a", "b"}, {"a", "a a", "ab", "abc", "b"});
    expectRanges({"--between", "", "-5"}, {"", "%%", "-5"});
    expectRanges({"--between", "aa", "aa"}, {});
    expectRanges({"--between", "b", "a"}, {});
    expectRanges({"--between", EAcute.toStdString(), YDiaeresis.toStdString()}, {EAcute, YDiaeresis});
}

TEST_F(QueryCommand, PagesAPrefixUpAndDown)
{
    for (const QString& prefix : {QString(), QString("a"), QString("ab"), QString("abc"), QString("b"), EAcute,
                                  YDiaeresis, YDiaeresis + YDiaeresis, QString("%"), QString("zz"), QString("abcd")}) {
        const QStringList expected =
            rangesWhere([&](const QByteArray& range) { return range.startsWith(prefix.toLatin1()); });
        expectRanges({"--begins-with", prefix.toStdString()}, expected);
        expectRanges({"--begins-with", prefix.toStdString(), "--backward"}, downwards(expected));
    }
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

TEST_F(QueryCommand, AnErrorReplyIsToldAndExitsWithOne)
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

    // A key with a letter that keys cannot have.
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
