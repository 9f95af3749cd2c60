#include "itemrangefixture.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

using namespace Quorva;

QStringList downwards(QStringList keys)
{
    std::reverse(keys.begin(), keys.end());
    return keys;
}

} // namespace

TEST_F(LibraryItemRange, QueryGivesEveryItemOnceInOrderWhateverTheSizeOfThePages)
{
    putRanges();
    expectQuery({}, Ranges);
    expectQuery({.backward = true}, downwards(Ranges));
    EXPECT_EQ(rangesOf(connection_.queryAll(table_, "nobody")), QStringList());
}

TEST_F(LibraryItemRange, QueryMeetsItsConditionOnEveryPage)
{
    putRanges();
    expectQuery({.range = KeyCondition::equal("ab")}, {"ab"});
    expectQuery({.range = KeyCondition::equal("aa")}, {});
    expectQuery({.range = KeyCondition::less("a")}, {"A", "-5", "%%", ""});
    expectQuery({.range = KeyCondition::atMost("a")}, {"a", "A", "-5", "%%", ""});
    expectQuery({.range = KeyCondition::greater("ab")}, Ranges.mid(7));
    expectQuery({.range = KeyCondition::atLeast("ab")}, Ranges.mid(6));
    expectQuery({.range = KeyCondition::between("A", "ab")}, {"A", "a", "a a", "ab"});
    expectQuery({.range = KeyCondition::beginsWith("a")}, {"a", "a a", "ab", "abc"});
    expectQuery({.range = KeyCondition::beginsWith("a"), .backward = true}, {"abc", "ab", "a a", "a"});
    expectQuery({.range = KeyCondition::beginsWith("")}, Ranges);
    expectQuery({.range = KeyCondition::beginsWith(""), .backward = true}, downwards(Ranges));
    expectQuery({.range = KeyCondition::beginsWith("\u00ff")}, Ranges.mid(10));
    expectQuery({.range = KeyCondition::beginsWith("\u00ff"), .backward = true}, downwards(Ranges.mid(10)));
    expectQuery({.range = KeyCondition::beginsWith("zz")}, {});
}

TEST_F(LibraryItemRange, QueryBeginsAfterAStartKeyAndCutsItemsDown)
{
    putRanges();
    expectQuery({.startKey = Key{"k", "ab"}}, Ranges.mid(7));
    const KeyCondition prefix = KeyCondition::beginsWith("a");
    expectQuery({.range = prefix, .startKey = Key{"k", "a a"}}, {"ab", "abc"});
    expectQuery({.range = prefix, .startKey = Key{"k", "-5"}}, {"a", "a a", "ab", "abc"});
    expectQuery({.range = prefix, .startKey = Key{"k", "b"}}, {});
    expectQuery({.range = prefix, .backward = true, .startKey = Key{"k", "ab"}}, {"a a", "a"});
    expectQuery({.range = prefix, .backward = true, .startKey = Key{"k", "\u00ff"}}, {"abc", "ab", "a a", "a"});
    expectQuery({.range = prefix, .backward = true, .startKey = Key{"k", "-5"}}, {});
    ItemRange items = connection_.queryAll(table_, "k", {.limit = 1, .attributes = {"none"}, .countOnly = true});
    QList<Item> found;
    for (const Item& item : items)
        found.append(item);
    ASSERT_EQ(found.size(), Ranges.size());
    EXPECT_EQ(found[4], (Item{{"h", S("k")}, {"r", S("a")}}));
}

TEST_F(LibraryItemRange, ThePagesOfQueryAreWhatQueryAllGivesInTheSameOrder)
{
    for (const QString& range : Ranges.mid(1)) // all keys after which a page can begin
        put("k", range);
    const auto startingWithA = KeyCondition::beginsWith("a");
    EXPECT_EQ(rangesOf(connection_.query(table_, "k", {.range = startingWithA, .backward = true})),
              (QStringList{"abc", "ab", "a a", "a"}));

    std::vector<QueryOptions> cases{{}, {.backward = true}};
    for (const bool backward : {false, true}) {
        for (const KeyCondition& range :
             {KeyCondition::equal("ab"), KeyCondition::less("b"), KeyCondition::atMost("b"), KeyCondition::greater("A"),
              KeyCondition::atLeast("A"), KeyCondition::between("A", "ab"), startingWithA, KeyCondition::beginsWith(""),
              KeyCondition::beginsWith("\u00ff"), KeyCondition::beginsWith("none")})
            cases.push_back({.range = range, .backward = backward});
    }
    for (QueryOptions options : cases) {
        const QStringList all = rangesOf(connection_.queryAll(table_, "k", options));
        const std::string trace = (options.range ? options.range->comparison() : QString()).toStdString() +
                                  (options.backward ? " backward" : "") + " limit ";
        for (const int limit : {1, 2, 3, 100}) {
            options.limit = limit;
            EXPECT_EQ(readByPages(options), std::pair(all, int(all.size()))) << trace << limit;
        }
    }
}
