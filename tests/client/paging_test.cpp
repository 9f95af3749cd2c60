#include "client/paging.h"

#include "protocol/bodies.h"

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
const QVariantMap Down = {{u"TableName"_s, u"/d|t"_s}, {u"RangeKeyCondition"_s, Bodies::condition(u"LE"_s, {u"z"_s})}};

TEST(Paging, FirstPageIsTheRequestWithItsLimit)
{
    EXPECT_EQ(Paging(Operations::Scan, Table, 7).body(), (QVariantMap{{u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 7}}));
    EXPECT_EQ(Paging(Operations::Scan, Table, 0).body(), (QVariantMap{{u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 128}}));
}

TEST(Paging, NextPageBeginsAfterTheLastKey)
{
    Paging paging(Operations::Query, Table, 7);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u"r"_s)), Paging::Next::Page);
    EXPECT_EQ(paging.body(),
              (QVariantMap{
                  {u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 7}, {u"ExclusiveStartKey"_s, startingAt(u"h"_s, u"r"_s)}}));
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u"s"_s)), Paging::Next::Page);
    EXPECT_EQ(paging.body().value(u"ExclusiveStartKey"_s), startingAt(u"h"_s, u"s"_s));
}

TEST(Paging, PageWithoutALastKeyIsTheEnd)
{
    Paging paging(Operations::Scan, Table, 7);
    EXPECT_EQ(paging.advance({{u"Count"_s, 3}}), Paging::Next::End);
}

TEST(Paging, KeyThatNoPageBeginsAtHasThePageReadAgainWithTwiceTheLimit)
{
    Paging query(Operations::Query, Table, 7);
    EXPECT_EQ(query.advance(endingAt(u"h"_s, u""_s)), Paging::Next::SamePage);
    EXPECT_EQ(query.body(), (QVariantMap{{u"TableName"_s, u"/d|t"_s}, {u"Limit"_s, 14}}));
    EXPECT_EQ(query.advance(endingAt(u"h"_s, u""_s)), Paging::Next::SamePage);
    EXPECT_EQ(query.body().value(u"Limit"_s), 28);
    EXPECT_EQ(query.advance(endingAt(u"h"_s, u"a"_s)), Paging::Next::Page);
    EXPECT_EQ(query.body().value(u"Limit"_s), 7) << "the limit is the asked one again";

    Paging scan(Operations::Scan, Table, 7);
    EXPECT_EQ(scan.advance(endingAt(u"h"_s, u""_s)), Paging::Next::Page) << "a scan goes on by the hash key";
    EXPECT_EQ(scan.advance(endingAt(u""_s, u"r"_s)), Paging::Next::SamePage);
}

TEST(Paging, LimitGrowsNoFurtherThanIntegersDo)
{
    Paging paging(Operations::Query, Table, 0x7fffffff - 1);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u""_s)), Paging::Next::SamePage);
    EXPECT_EQ(paging.body().value(u"Limit"_s), 0x7fffffff);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u""_s)), Paging::Next::SamePage);
    EXPECT_EQ(paging.body().value(u"Limit"_s), 0x7fffffff);
}

TEST(Paging, PageThatEndsWhereItBeganIsReadAgain)
{
    Paging paging(Operations::Query, Table, 1);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u"r"_s)), Paging::Next::Page);
    EXPECT_EQ(paging.advance(endingAt(u"h"_s, u"r"_s)), Paging::Next::SamePage);
    EXPECT_EQ(paging.body().value(u"ExclusiveStartKey"_s), startingAt(u"h"_s, u"r"_s));
}

TEST(Paging, DownwardQueryNeverContinuesFromAGreaterKey)
{
    Paging down(Operations::Query, Down, 1);
    EXPECT_EQ(down.advance(endingAt(u"h"_s, u"m"_s)), Paging::Next::Page);
    EXPECT_EQ(down.advance(endingAt(u"h"_s, u"n"_s)), Paging::Next::SamePage);
    EXPECT_EQ(down.body().value(u"ExclusiveStartKey"_s), startingAt(u"h"_s, u"m"_s));
    EXPECT_EQ(down.advance(endingAt(u"h"_s, u"k"_s)), Paging::Next::Page);

    Paging fromTheBound(Operations::Query, Down, 1);
    EXPECT_EQ(fromTheBound.advance(endingAt(u"h"_s, u"za"_s)), Paging::Next::SamePage) << "behind z, its first key";
    EXPECT_EQ(fromTheBound.advance(endingAt(u"h"_s, u"z"_s)), Paging::Next::Page);

    Paging up(Operations::Query, Table, 1);
    EXPECT_EQ(up.advance(endingAt(u"h"_s, u"m"_s)), Paging::Next::Page);
    EXPECT_EQ(up.advance(endingAt(u"h"_s, u"n"_s)), Paging::Next::Page);
}

} // namespace
