#include "querycommandfixture.h"

TEST_F(QueryCommand, ComparesWithOneValue)
{
    for (const QString& value : {QString("ab"), QString("aa"), QString("-5"), EAcute, YDiaeresis, QString("zz")}) {
        const QByteArray bytes = value.toLatin1();
        const std::string text = value.toStdString();
        expectRanges({"--eq", text}, rangesWhere([&](const QByteArray& range) { return range == bytes; }));
        expectRanges({"--gt", text}, rangesWhere([&](const QByteArray& range) { return range > bytes; }));
        expectRanges({"--ge", text}, rangesWhere([&](const QByteArray& range) { return range >= bytes; }));
        // These two walk downward from the value.
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
