#include "libraryfixture.h"

using namespace Quorva;

namespace {

class LibraryItems : public LibraryTest {};

} // namespace

TEST_F(LibraryItems, TablesAreMadeDescribedAndClosed)
{
    const Table table{table_, "customer", "date", 3, 4};
    const Result created = connection_.createTable(table);
    ASSERT_TRUE(created);
    const Result described = connection_.describeTable(table_);
    ASSERT_TRUE(described);
    for (const Result& result : {created, described}) {
        EXPECT_EQ(text(result.table(), "TableName"), table_);
        EXPECT_EQ(text(result.table(), "TableStatus"), "ACTIVE");
        EXPECT_EQ(result.table()["ProvisionedThroughput"],
                  QVariant(QVariantMap{{"ReadCapacityUnits", 3LL}, {"WriteCapacityUnits", 4LL}}));
        const QVariantMap keys = result.table()["KeySchema"].toMap();
        EXPECT_EQ(keys["HashKeyElement"], QVariant(QVariantMap{{"AttributeName", "customer"}, {"AttributeType", "S"}}));
        EXPECT_EQ(keys["RangeKeyElement"], QVariant(QVariantMap{{"AttributeName", "date"}, {"AttributeType", "S"}}));
    }
    EXPECT_EQ(described.table()["ItemCount"], QVariant(1LL));

    const Result closed = connection_.deleteTable(table_);
    EXPECT_TRUE(closed);
    EXPECT_EQ(closed.reply(), (QVariantMap{{"__rc", 200LL}, {"__rcstr", "OK"}}));

    const Result missing = connection_.describeTable("/nowhere|t");
    EXPECT_EQ(missing.outcome(), Outcome::ErrorReply);
    EXPECT_EQ(missing.rc(), 400);
    EXPECT_EQ(missing.rcstr(), "Not Found");
    EXPECT_EQ(missing.errorType(), "ResourceNotFoundException");
    EXPECT_EQ(missing.errorText(), "Specified item does not exist.");
}

TEST_F(LibraryItems, ValuesOfAllTypesComeBackAsTheyWere)
{
    const Item attributes{{"s", S("größer ✓")}, {"n", N(-17)}, {"ss", SS({"a", "b"})}, {"ns", NS({"1", "2.5"})}};
    Item item = attributes;
    item.insert("h", S("k\u00e9"));
    item.insert("r", S("1"));
    const Result put = connection_.putItem(table_, item);
    ASSERT_TRUE(put);
    EXPECT_EQ(text(put.attributes(), "s"), "größer ✓");

    const std::optional<Item> found = stored("k\u00e9", "1");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->keys(), (QStringList{"n", "ns", "s", "ss"}));
    EXPECT_EQ(text(*found, "s"), "größer ✓");
    EXPECT_EQ(number(*found, "n"), -17);
    EXPECT_EQ(texts(*found, "ss"), (QStringList{"a", "b"}));
    EXPECT_EQ(texts(*found, "ns"), (QStringList{"1", "2.5"}));
    EXPECT_EQ(connection_.getItem(table_, {"k\u00e9", "1"}, {"n", "missing"}).item(), (Item{{"n", N(-17)}}));
    EXPECT_EQ(stored("k", "1"), std::nullopt);
}

TEST_F(LibraryItems, PutAnswersTheOldItemAndLooksAtConditions)
{
    put("k", "1", {{"a", N(1)}});
    const Item next{{"h", S("k")}, {"r", S("1")}, {"a", N(2)}};
    expectConditionFailed(connection_.putItem(table_, next, {{{"a", isAbsent()}}}));
    expectConditionFailed(connection_.putItem(table_, next, {{{"a", isEqual(N(2))}}}));
    EXPECT_EQ(stored("k", "1"), (Item{{"a", N(1)}}));

    const Result replaced = connection_.putItem(table_, next, {{{"a", isEqual(N(1))}, {"b", isAbsent()}}, true});
    ASSERT_TRUE(replaced);
    EXPECT_EQ(replaced.attributes(), (Item{{"a", N(1)}}));
    EXPECT_EQ(stored("k", "1"), (Item{{"a", N(2)}}));
}

TEST_F(LibraryItems, UpdateChangesAttributesAndAnswersWhatWasAskedFor)
{
    put("k", "1", {{"sum", N(17)}, {"note", S("x")}, {"kept", S("y")}});
    const Updates updates{{"sum", addValue(N(3))}, {"paid", putValue(S("yes"))}, {"note", deleteValue()}};
    const Result all = connection_.updateItem(table_, {"k", "1"}, updates, {{}, ReturnValues::AllNew});
    ASSERT_TRUE(all);
    EXPECT_EQ(all.attributes(), (Item{{"h", "k"}, {"r", "1"}, {"kept", S("y")}, {"paid", S("yes")}, {"sum", N(20)}}));
    EXPECT_EQ(text(all.attributes(), "h"), "k");

    const Updates one{{"sum", addValue(N(1))}};
    const Key key{"k", "1"};
    EXPECT_EQ(connection_.updateItem(table_, key, one).attributes(), Item());
    EXPECT_EQ(connection_.updateItem(table_, key, one, {{}, ReturnValues::UpdatedOld}).attributes(),
              (Item{{"sum", N(21)}}));
    EXPECT_EQ(connection_.updateItem(table_, key, one, {{}, ReturnValues::UpdatedNew}).attributes(),
              (Item{{"sum", N(23)}}));
    EXPECT_EQ(connection_.updateItem(table_, key, one, {{}, ReturnValues::AllOld}).attributes(),
              (Item{{"h", "k"}, {"r", "1"}, {"kept", S("y")}, {"paid", S("yes")}, {"sum", N(23)}}));

    expectConditionFailed(connection_.updateItem(table_, key, one, {{{"sum", isEqual(N(0))}}, ReturnValues::AllNew}));
    EXPECT_EQ(stored("k", "1"), (Item{{"kept", S("y")}, {"paid", S("yes")}, {"sum", N(24)}}));
}

TEST_F(LibraryItems, DeleteAnswersTheOldItemAndLooksAtConditions)
{
    put("k", "1", {{"a", S("x")}});
    expectConditionFailed(connection_.deleteItem(table_, {"k", "1"}, {{{"a", isEqual(S("y"))}}}));
    EXPECT_EQ(stored("k", "1"), (Item{{"a", S("x")}}));
    const Result deleted = connection_.deleteItem(table_, {"k", "1"}, {{{"a", isEqual(S("x"))}}, true});
    ASSERT_TRUE(deleted);
    EXPECT_EQ(deleted.attributes(), (Item{{"a", S("x")}}));
    EXPECT_EQ(stored("k", "1"), std::nullopt);
    const Result again = connection_.deleteItem(table_, {"k", "1"});
    EXPECT_TRUE(again);
    EXPECT_EQ(again.attributes(), Item());
}

TEST_F(LibraryItems, BatchIsDoneAsAWholeOrNotAtAll)
{
    put("k", "old");
    const QString second = table_ + "2";
    ASSERT_TRUE(connection_.createTable({second, "h", "r"}));
    Batch batch;
    EXPECT_TRUE(batch.isEmpty());
    batch.putItem(table_, {{"h", S("k")}, {"r", S("new")}, {"a", N(1)}});
    batch.deleteItem(table_, {"k", "old"});
    batch.putItem(second, {{"h", S("k")}, {"r", S("new")}, {"a", N(2)}});
    EXPECT_FALSE(batch.isEmpty());
    const Result written = connection_.batchWrite(batch);
    ASSERT_TRUE(written);
    EXPECT_TRUE(written.unprocessed().isEmpty());
    EXPECT_EQ(stored("k", "new"), (Item{{"a", N(1)}}));
    EXPECT_EQ(stored("k", "old"), std::nullopt);
    EXPECT_EQ(connection_.getItem(second, {"k", "new"}).item(), (Item{{"a", N(2)}}));

    Batch twice;
    twice.putItem(table_, {{"h", S("k")}, {"r", S("third")}});
    twice.deleteItem(table_, {"k", "third"});
    const Result refused = connection_.batchWrite(twice);
    expectConditionFailed(refused);
    EXPECT_EQ(refused.unprocessed().requestItems(), twice.requestItems());
    EXPECT_EQ(stored("k", "third"), std::nullopt);
}

TEST_F(LibraryItems, QueryAndScanTakeTheirOptions)
{
    for (const char* range : {"a", "ab", "b", "c"})
        put("k", range, {{"x", S(range)}, {"y", N(1)}});

    const auto ranges = [](const Result& result) {
        QStringList found;
        for (const Item& item : result.items())
            found.append(text(item, "r"));
        return found;
    };
    const auto query = [&](const QueryOptions& options) { return connection_.query(table_, "k", options); };
    EXPECT_EQ(ranges(query({})), (QStringList{"a", "ab", "b", "c"}));
    EXPECT_EQ(ranges(query({.backward = true})), (QStringList{"c", "b", "ab", "a"}));
    EXPECT_EQ(ranges(query({.range = KeyCondition::equal("b")})), (QStringList{"b"}));
    EXPECT_EQ(ranges(query({.range = KeyCondition::less("b")})), (QStringList{"ab", "a"}));
    EXPECT_EQ(ranges(query({.range = KeyCondition::atMost("b")})), (QStringList{"b", "ab", "a"}));
    EXPECT_EQ(ranges(query({.range = KeyCondition::greater("ab")})), (QStringList{"b", "c"}));
    EXPECT_EQ(ranges(query({.range = KeyCondition::atLeast("ab")})), (QStringList{"ab", "b", "c"}));
    EXPECT_EQ(ranges(query({.range = KeyCondition::between("ab", "b")})), (QStringList{"ab", "b"}));
    EXPECT_EQ(ranges(query({.range = KeyCondition::beginsWith("a")})), (QStringList{"a", "ab"}));
    EXPECT_EQ(query({.limit = 1, .attributes = {"y"}}).items(),
              (QList<Item>{{{"h", S("k")}, {"r", S("a")}, {"y", N(1)}}}));
    const Result counted = query({.countOnly = true});
    EXPECT_EQ(counted.count(), 4);
    EXPECT_FALSE(counted.reply().contains("Items"));

    const Result page = query({.limit = 2});
    EXPECT_EQ(ranges(page), (QStringList{"a", "ab"}));
    ASSERT_EQ(page.lastKey(), (Key{"k", "ab"}));
    const Result rest = query({.startKey = page.lastKey()});
    EXPECT_EQ(ranges(rest), (QStringList{"b", "c"}));
    EXPECT_EQ(rest.lastKey(), std::nullopt);

    const auto scan = [&](const ScanOptions& options) { return connection_.scan(table_, options); };
    EXPECT_EQ(ranges(scan({})), (QStringList{"a", "ab", "b", "c"}));
    const Result filtered = scan({.filter = {{"r", KeyCondition::greater("ab")}}});
    EXPECT_EQ(ranges(filtered), (QStringList{"b", "c"}));
    EXPECT_EQ(filtered.count(), 2);
    EXPECT_EQ(filtered.scannedCount(), 4);
    EXPECT_EQ(scan({.limit = 1, .attributes = {"y"}}).items(),
              (QList<Item>{{{"h", S("k")}, {"r", S("a")}, {"y", N(1)}}}));
    const Result scanned = scan({.limit = 3, .countOnly = true});
    EXPECT_EQ(scanned.count(), 3);
    EXPECT_FALSE(scanned.reply().contains("Items"));
    ASSERT_EQ(scanned.lastKey(), (Key{"k", "b"}));
    EXPECT_EQ(ranges(scan({.startKey = scanned.lastKey()})), (QStringList{"c"}));
}

TEST_F(LibraryItems, CallTakesAnyOperationByEitherName)
{
    const QVariantMap flush{{"TableName", table_}, {"ProvisionedThroughput", QVariantMap{{"FlushDB", true}}}};
    for (const char* name : {"UpdateTable", "DynamoDB_20111205.UpdateTable"}) {
        const Result flushed = connection_.call(name, flush);
        EXPECT_TRUE(flushed) << name;
        EXPECT_EQ(flushed.table(), (QVariantMap{{"TableStatus", "ACTIVE"}})) << name;
    }
    const Result unknown = connection_.call("NoSuchOperation", {});
    EXPECT_EQ(unknown.outcome(), Outcome::ErrorReply);
    EXPECT_EQ(unknown.errorType(), "InternalServerError");
    EXPECT_TRUE(connection_.isOpen());
}
