#include "client/rangecondition.h"

#include "protocol/bodies.h"

#include <gtest/gtest.h>

#include <QVariantList>

namespace {

using namespace Qt::StringLiterals;

/** A condition's comparison, and whether it matches a key, comparing as the server does. */
bool holds(const QVariantMap& condition, const QString& range)
{
    const QVariantList values = condition.value(u"AttributeValueList"_s).toList();
    const auto bound = [&](qsizetype i) { return values.at(i).toMap().value(u"S"_s).toString().toLatin1(); };
    const QByteArray bytes = range.toLatin1();
    if (condition.value(u"ComparisonOperator"_s) == u"BETWEEN"_s)
        return values.size() == 2 && bound(0) <= bytes && bytes <= bound(1);
    return condition.value(u"ComparisonOperator"_s) == u"LE"_s && values.size() == 1 && bytes <= bound(0);
}

TEST(RangeCondition, KeysWithAPrefixAreBetweenTwoKeysUp)
{
    const QVariantMap condition = Client::keysWithPrefix(u"ab"_s, false);
    EXPECT_EQ(condition.value(u"ComparisonOperator"_s), u"BETWEEN"_s);
    for (const QString& inside : {u"ab"_s, u"aba"_s, u"ab\u00ff\u00ff"_s})
        EXPECT_TRUE(holds(condition, inside)) << qPrintable(inside);
    for (const QString& outside : {u""_s, u"a"_s, u"aa\u00ff"_s, u"ac"_s})
        EXPECT_FALSE(holds(condition, outside)) << qPrintable(outside);
    EXPECT_EQ(Client::keysWithPrefix({}, false), Bodies::condition(u"GE"_s, {u""_s})) << "all keys, up";
}

TEST(RangeCondition, KeysWithAPrefixAreBelowOneKeyDown)
{
    const QVariantMap condition = Client::keysWithPrefix(u"ab"_s, true);
    EXPECT_EQ(condition.value(u"ComparisonOperator"_s), u"LE"_s);
    for (const QString& inside : {u""_s, u"aa"_s, u"ab"_s, u"ab\u00ff\u00ff"_s})
        EXPECT_TRUE(holds(condition, inside)) << qPrintable(inside);
    EXPECT_FALSE(holds(condition, u"ac"_s));
    EXPECT_TRUE(holds(Client::allKeysDown(), u"\u00ff\u00ff\u00ffz"_s)) << "all keys";
}

/** A query for the keys that begin with "ab", continuing after a start key. */
QVariantMap queryBehind(const QString& hash, const QString& range)
{
    QVariantMap body = Bodies::query(u"/d|t"_s, u"h"_s);
    body.insert(u"RangeKeyCondition"_s, Bodies::condition(u"BEGINS_WITH"_s, {u"ab"_s}));
    body.insert(u"ExclusiveStartKey"_s, Bodies::key(hash, range));
    return body;
}

TEST(ReplaceBeginsWith, PutsAConditionInItsPlaceThatCanBeResumed)
{
    for (const bool down : {false, true}) {
        const QVariantMap before = queryBehind(u"h"_s, u"abc"_s);
        QVariantMap body = before;
        EXPECT_EQ(Client::replaceBeginsWith(&body, down), u"ab"_s);
        QVariantMap expected = before;
        expected.insert(u"RangeKeyCondition"_s, Client::keysWithPrefix(u"ab"_s, down));
        EXPECT_EQ(body, expected) << down;
    }
}

TEST(ReplaceBeginsWith, RemovesAStartKeyBeforeAllKeysWithThePrefix)
{
    struct {
        const char* start;
        bool down;
        bool isRemoved;
    } const cases[] = {
        {"", false, true},  {"aa", false, true}, {"ab", false, false}, {"abz", false, false}, {"ac", false, false},
        {"ac", true, true}, {"z", true, true},   {"abz", true, false}, {"ab", true, false},   {"aa", true, false},
    };
    for (const auto& c : cases) {
        QVariantMap body = queryBehind(u"k"_s, QString::fromLatin1(c.start));
        EXPECT_EQ(Client::replaceBeginsWith(&body, c.down), u"ab"_s);
        EXPECT_EQ(body.contains(u"ExclusiveStartKey"_s), !c.isRemoved) << c.start << ' ' << c.down;
        // The hash key of the start key takes precedence.
        EXPECT_EQ(body.value(u"HashKeyValue"_s), Bodies::stringValue(c.isRemoved ? u"k"_s : u"h"_s))
            << c.start << ' ' << c.down;
    }
}

TEST(ReplaceBeginsWith, LeavesEverythingElseToTheServer)
{
    QVariantMap plain = Bodies::query(u"/d|t"_s, u"h"_s);
    QVariantMap other = plain;
    other.insert(u"RangeKeyCondition"_s, Bodies::condition(u"GE"_s, {u"ab"_s}));
    QVariantMap noValue = plain;
    noValue.insert(u"RangeKeyCondition"_s, Bodies::condition(u"BEGINS_WITH"_s, {}));
    QVariantMap twoValues = plain;
    twoValues.insert(u"RangeKeyCondition"_s, Bodies::condition(u"BEGINS_WITH"_s, {u"a"_s, u"b"_s}));
    QVariantMap number = plain;
    number.insert(u"RangeKeyCondition"_s,
                  QVariantMap{{u"ComparisonOperator"_s, u"BEGINS_WITH"_s},
                              {u"AttributeValueList"_s, QVariantList{QVariantMap{{u"N"_s, u"1"_s}}}}});
    for (const QVariantMap& before : {plain, other, noValue, twoValues, number}) {
        QVariantMap body = before;
        EXPECT_EQ(Client::replaceBeginsWith(&body, false), std::nullopt);
        EXPECT_EQ(body, before);
    }
    QVariantMap malformed = queryBehind(u"k"_s, u"aa"_s);
    malformed.insert(u"ExclusiveStartKey"_s, QVariantMap{{u"HashKeyElement"_s, u"k"_s}});
    const QVariant start = malformed.value(u"ExclusiveStartKey"_s);
    EXPECT_EQ(Client::replaceBeginsWith(&malformed, false), u"ab"_s);
    EXPECT_EQ(malformed.value(u"ExclusiveStartKey"_s), start) << "the server refuses it";
}

} // namespace
