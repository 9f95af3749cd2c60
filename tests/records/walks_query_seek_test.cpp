#include "querywalkfixture.h"

#include <optional>

namespace {

TEST_F(QueryDbTest, UpperBoundsWalkDownward)
{
    putRanges("m", {"a", "b", "c", "d"});
    const QVariantMap le = condition("LE", {"c"});
    const QVariantMap lt = condition("LT", {"c"});
    for (const bool forward : {true, false}) {
        expectRanges({"m", "", 9, forward, &le}, {"c", "b", "a"}, std::nullopt);
        expectRanges({"m", "", 2, forward, &le}, {"c", "b"}, Bytes("b"));
        expectRanges({"m", "", 9, forward, &lt}, {"b", "a"}, std::nullopt);
        expectRanges({"m", "", 1, forward, &lt}, {}, Bytes("c")); // the bound itself was examined
    }
}

TEST_F(QueryDbTest, DownwardSeekExaminesTheNextGreaterKeyFirst)
{
    putRanges("m", {"a", "b", "d"});
    const QVariantMap le = condition("LE", {"c"});
    expectRanges({"m", "", 9, true, &le}, {"b", "a"}, std::nullopt);
    expectRanges({"m", "", 1, true, &le}, {}, Bytes("d"));
    expectRanges({"m", "", 2, true, &le}, {"b"}, Bytes("b"));
}

TEST_F(QueryDbTest, DownwardSeekAfterTheLastRecordOfTheFileStepsBack)
{
    putRanges("m", {"a", "b"});
    expectRanges({"m", "", 9, false, nullptr}, {"b", "a"}, std::nullopt);
    const QVariantMap le = condition("LE", {"z"});
    expectRanges({"m", "", 9, false, &le}, {"b", "a"}, std::nullopt);
    expectRanges({"m", "z", 9, false, nullptr}, {"b", "a"}, std::nullopt);
}

TEST_F(QueryDbTest, DownwardSeekAfterTheHashKeyStepsBackOnce)
{
    putAll({{"n", "a"}});
    putRanges("m", {"a", "b"});
    expectRanges({"m", "", 9, false, nullptr}, {"b", "a"}, std::nullopt);

    // One step back leads to another hash key: this one has no records.
    putAll({{"k", "a"}});
    Queried result;
    EXPECT_EQ(query({"l", "", 9, false, nullptr}, &result), 0);
    EXPECT_EQ(result, Queried());
}

TEST_F(QueryDbTest, UpwardSeekAfterTheHashKeyFindsNothing)
{
    putRanges("m", {"a", "b"});
    const QVariantMap ge = condition("GE", {"c"});
    expectRanges({"m", "", 9, true, &ge}, {}, std::nullopt);
    putAll({{"n", "a"}});
    expectRanges({"m", "", 9, true, &ge}, {}, std::nullopt);
}

TEST_F(QueryDbTest, DownwardWalkBeginsAtTheByteFf)
{
    // The seek of a downward walk without a bound: keys that extend that byte sort after it.
    putRanges("m", {"a", "\xfe\xff", "\xff", "\xff\x01", "\xff\xff"});
    expectRanges({"m", "", 9, false, nullptr}, {"\xff", "\xfe\xff", "a"}, std::nullopt);
    remove({"m", "\xff"});
    expectRanges({"m", "", 9, false, nullptr}, {"\xff\x01", "\xfe\xff", "a"}, std::nullopt);

    // An empty bound is replaced by that byte as well, for comparisons, too.
    const QVariantMap le = condition("LE", {""});
    expectRanges({"m", "", 9, true, &le}, {"\xfe\xff", "a"}, std::nullopt);
    const QVariantMap lt = condition("LT", {""});
    expectRanges({"m", "", 9, true, &lt}, {"\xfe\xff", "a"}, std::nullopt);
    const QVariantMap unknown = condition("NE", {""});
    expectRanges({"m", "", 9, false, &unknown}, {"\xff\x01", "\xfe\xff", "a"}, std::nullopt);
}

TEST_F(QueryDbTest, ExclusiveStartIsSkippedWithoutBeingCounted)
{
    putRanges("m", {"a", "b", "c"});
    expectRanges({"m", "a", 1, true, nullptr}, {"b"}, Bytes("b"));
    expectRanges({"m", "c", 1, false, nullptr}, {"b"}, Bytes("b"));
    expectRanges({"m", "c", 1, true, nullptr}, {}, std::nullopt);
    expectRanges({"m", "a", 1, false, nullptr}, {}, std::nullopt);
    expectRanges({"m", "a", 0, true, nullptr}, {"b"}, Bytes("b")); // the limit is checked only after a counted record
}

TEST_F(QueryDbTest, VanishedStartIsNotSkippedOver)
{
    putRanges("m", {"a", "c", "d"});
    expectRanges({"m", "b", 1, true, nullptr}, {"c"}, Bytes("c"));
    // Downward, the next greater key is examined first, and then the walk includes the start.
    expectRanges({"m", "b", 9, false, nullptr}, {"c", "a"}, std::nullopt);
    expectRanges({"m", "b", 1, false, nullptr}, {"c"}, Bytes("c"));
}

TEST_F(QueryDbTest, StartRangeReplacesLow)
{
    putRanges("m", {"a", "ab", "abc", "abd", "b", "c"});
    const QVariantMap begins = condition("BEGINS_WITH", {"a"});
    expectRanges({"m", "", 2, true, &begins}, {"a", "ab"}, Bytes("ab"));
    expectRanges({"m", "ab", 9, true, &begins}, {"abc", "abd"}, std::nullopt); // everything that begins with "ab"
    expectRanges({"m", "abc", 9, true, &begins}, {}, std::nullopt);            // "abd" does not begin with "abc"

    const QVariantMap eq = condition("EQ", {"b"});
    expectRanges({"m", "aa", 9, true, &eq}, {}, std::nullopt); // the first key examined is not "aa"
    const QVariantMap gt = condition("GT", {"b"});
    expectRanges({"m", "a", 9, true, &gt}, {"ab", "abc", "abd", "b", "c"}, std::nullopt);
    const QVariantMap lt = condition("LT", {"ab"});
    expectRanges({"m", "b", 9, true, &lt}, {"abd", "abc", "ab", "a"}, std::nullopt);
    const QVariantMap between = condition("BETWEEN", {"b", "c"});
    expectRanges({"m", "abc", 9, true, &between}, {"abd", "b", "c"}, std::nullopt); // the upper bound remains
}

TEST_F(QueryDbTest, EmptyStartRangeIsNoStart)
{
    putRanges("m", {"", "a"});
    expectRanges({"m", "", 1, true, nullptr}, {""}, Bytes(""));
    expectRanges({"m", "", 9, true, nullptr}, {"", "a"}, std::nullopt);
}

} // namespace
