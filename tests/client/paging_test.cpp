#include "client/paging.h"

#include <gtest/gtest.h>

#include <QVariantList>

namespace {

using namespace Qt::StringLiterals;
using Client::Paging;

/** A page that ended at a key. */
QVariantMap endingAt(const QString& hash, const QString& range)
{
    return {{u"LastEvaluatedKey"_s, QVariantMap{{u"HashKeyElement"_s, hash}, {u"RangeKeyElement"_s, range}}}};
}

QVariantMap startingAt(const QString& hash, const QString& range)
{
    return {{u"HashKeyElement"_s, QVariantMap{{u"S"_s, hash}}}, {u"RangeKeyElement"_s, QVariantMap{{u"S"_s, range}}}};
}

const QVariantMap Table = {{u"TableName"_s, u"/d|t"_s}};
const QVariantMap Down = {{u"TableName"_s, u"/d|t"_s}, {u"RangeKeyCondition"_s, Client::allKeysDown()}};

TEST(Paging, FirstPageIsTheRequestWithItsLimit)
{
    EXPECT_EQ(Paging(u"Scan"_s, Table, 7).body(), (QVariantMap{{u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 7}}));
    EXPECT_EQ(Paging(u"Scan"_s, Table, 0).body(), (QVariantMap{{u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 128}}));
}

TEST(Paging, NextPageBeginsBehindTheLastKey)
{
    Paging paging(u"Query"_s, Table, 7);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u"r"_s)), Paging::Next::Page);
    EXPECT_EQ(paging.body(),
              (QVariantMap{
                  {u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 7}, {u"ExclusiveStartKey"_s, startingAt(u"h"_s, u"r"_s)}}));
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u"s"_s)), Paging::Next::Page);
    EXPECT_EQ(paging.body().value(u"ExclusiveStartKey"_s), startingAt(u"h"_s, u"s"_s));
}

TEST(Paging, PageWithoutALastKeyIsTheEnd)
{
    Paging paging(u"Scan"_s, Table, 7);
    EXPECT_EQ(paging.advance({{u"Count"_s, 3}}), Paging::Next::End);
}

TEST(Paging, KeyThatNoPageBeginsAtHasThePageReadAgainWithTwiceTheLimit)
{
    Paging query(u"Query"_s, Table, 7);
    EXPECT_EQ(query.advance(endingAt(u"h"_s, u""_s)), Paging::Next::SamePage);
    EXPECT_EQ(query.body(), (QVariantMap{{u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 14}}));
    EXPECT_EQ(query.advance(endingAt(u"h"_s, u""_s)), Paging::Next::SamePage);
    EXPECT_EQ(query.body().value(u"Limit"_s), 28);
    EXPECT_EQ(query.advance(endingAt(u"h"_s, u"a"_s)), Paging::Next::Page);
    EXPECT_EQ(query.body().value(u"Limit"_s), 7) << "the limit is the asked one again";

    Paging scan(u"Scan"_s, Table, 7);
    EXPECT_EQ(scan.advance(endingAt(u"h"_s, u""_s)), Paging::Next::Page) << "a scan goes on by the hash key";
    EXPECT_EQ(scan.advance(endingAt(u""_s, u"r"_s)), Paging::Next::SamePage);
}

TEST(Paging, LimitGrowsNoFurtherThanIntegersDo)
{
    Paging paging(u"Query"_s, Table, 0x7fffffff - 1);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u""_s)), Paging::Next::SamePage);
    EXPECT_EQ(paging.body().value(u"Limit"_s), 0x7fffffff);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u""_s)), Paging::Next::SamePage);
    EXPECT_EQ(paging.body().value(u"Limit"_s), 0x7fffffff);
}

TEST(Paging, PageThatEndsWhereItBeganIsReadAgain)
{
    Paging paging(u"Query"_s, Table, 1);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u"r"_s)), Paging::Next::Page);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u"r"_s)), Paging::Next::SamePage);
    EXPECT_EQ(paging.body().value(u"ExclusiveStartKey"_s), startingAt(u"h"_s, u"r"_s));
}

TEST(Paging, QueryDownNeverGoesOnFromAGreaterKey)
{
    Paging down(u"Query"_s, Down, 1);
    EXPECT_EQ(down.advance(endingAt(u"h"_s, u"m"_s)), Paging::Next::Page);
    EXPECT_EQ(down.advance(endingAt(u"h"_s, u"n"_s)), Paging::Next::SamePage);
    EXPECT_EQ(down.body().value(u"ExclusiveStartKey"_s), startingAt(u"h"_s, u"m"_s));
    EXPECT_EQ(down.advance(endingAt(u"h"_s, u"k"_s)), Paging::Next::Page);

    Paging up(u"Query"_s, Table, 1);
    EXPECT_EQ(up.advance(endingAt(u"h"_s, u"m"_s)), Paging::Next::Page);
    EXPECT_EQ(up.advance(endingAt(u"h"_s, u"n"_s)), Paging::Next::Page);
}

/** The comparison of a condition, and whether a key is in it, as the server compares. */
bool holds(const QVariantMap& condition, const QString& range)
{
    const QVariantList values = condition.value(u"AttributeValueList"_s).toList();
    const auto bound = [&](qsizetype i) { return values.at(i).toMap().value(u"S"_s).toString().toLatin1(); };
    const QByteArray bytes = range.toLatin1();
    if (condition.value(u"ComparisonOperator"_s) == u"BETWEEN"_s)
        return values.size() == 2 && bound(0) <= bytes && bytes <= bound(1);
    return condition.value(u"ComparisonOperator"_s) == u"LE"_s && values.size() == 1 && bytes <= bound(0);
}

TEST(Paging, KeysWithAPrefixAreBetweenTwoKeysUp)
{
    const QVariantMap condition = Client::keysWithPrefix(u"ab"_s, false);
    EXPECT_EQ(condition.value(u"ComparisonOperator"_s), u"BETWEEN"_s);
    for (const QString& inside : {u"ab"_s, u"aba"_s, u"ab\u00ff\u00ff"_s})
        EXPECT_TRUE(holds(condition, inside)) << qPrintable(inside);
    for (const QString& outside : {u""_s, u"a"_s, u"aa\u00ff"_s, u"ac"_s})
        EXPECT_FALSE(holds(condition, outside)) << qPrintable(outside);
    EXPECT_EQ(Client::keysWithPrefix({}, false), Client::rangeCondition(u"GE"_s, {u""_s})) << "all keys, up";
}

TEST(Paging, KeysWithAPrefixAreBelowOneKeyDown)
{
    const QVariantMap condition = Client::keysWithPrefix(u"ab"_s, true);
    EXPECT_EQ(condition.value(u"ComparisonOperator"_s), u"LE"_s);
    for (const QString& inside : {u""_s, u"aa"_s, u"ab"_s, u"ab\u00ff\u00ff"_s})
        EXPECT_TRUE(holds(condition, inside)) << qPrintable(inside);
    EXPECT_FALSE(holds(condition, u"ac"_s));
    EXPECT_TRUE(holds(Client::allKeysDown(), u"\u00ff\u00ff\u00ffz"_s)) << "all keys";
}

} // namespace
