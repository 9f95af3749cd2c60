#ifndef QUORVA_TESTS_RECORDS_WALKFIXTURE_H
#define QUORVA_TESTS_RECORDS_WALKFIXTURE_H

#include "records/walks.h"

#include "records/encoding.h"
#include "records/items.h"
#include "records/rawrecords.h"
#include "records/recordlines.h"
#include "support/tableenv.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <utility>

using Bytes = QByteArray;
using Keys = std::pair<Bytes, Bytes>; // hash key, range key

/** A key with the terminating zero byte that walks return. */
inline Bytes terminated(const Bytes& key)
{
    return key + Bytes(1, '\0');
}

/** The items that a walk gathered, parsed from their JSON. */
inline QVariantList itemsIn(const Bytes& joined)
{
    QVariant list;
    EXPECT_TRUE(Json::parse('[' + joined + ']', &list)) << joined.toStdString();
    return list.toList();
}

/** The JSON of items as a walk gathers it. */
inline Bytes joined(const QVariantList& items)
{
    const Bytes list = Json::serialize(items);
    return list.sliced(1, list.size() - 2);
}

/** What scans of successive partitions have gathered, with the items as values. */
struct Scanned {
    int limit = 0; // records still to examine
    int count = 0;
    int scanned = 0;
    QVariantList items;
    Bytes lastHash;
    Bytes lastRange;
};

/** A QueryResult with its items as values. */
struct Queried {
    int count = 0;
    QVariantList items;
    Bytes lastRange;
};

/** scanDb with items as values; adds to what was gathered before. */
inline int scanItems(BDBEnv* env, BDBIndex* db, const Bytes& startHash, const Bytes& startRange,
                     const QVariantMap& filter, const KeyNames& names, Scanned* progress)
{
    ItemFormatter format(names);
    ScanResult found{-1, -1, "before", "before"};
    const Bytes before = joined(progress->items);
    Bytes items = before;
    const int rc = Records::scanDb(env, db, {startHash, startRange, progress->limit, filter}, &format, &items, &found);
    if (rc != 0) {
        EXPECT_EQ(items, before);
        EXPECT_EQ(std::tie(found.count, found.scanned, found.lastHash, found.lastRange),
                  std::make_tuple(-1, -1, Bytes("before"), Bytes("before")));
        return rc;
    }
    *progress = {progress->limit - found.scanned,
                 progress->count + found.count,
                 progress->scanned + found.scanned,
                 itemsIn(items),
                 found.lastHash,
                 found.lastRange};
    return rc;
}

/** queryDb with items as values. */
inline int queryItems(BDBEnv* env, BDBIndex* db, const QueryRange& range, bool wantItems, const KeyNames& names,
                      Queried* result)
{
    ItemFormatter format(names);
    QueryResult found{result->count, result->lastRange};
    const Bytes before = "0"; // an item gathered before
    Bytes items = before;
    const int rc = wantItems ? Records::queryDb(env, db, range, &format, &items, &found)
                             : Records::queryDb(env, db, range, nullptr, nullptr, &found);
    EXPECT_TRUE(rc == 0 || items == before) << items.toStdString();
    *result = {found.count, rc == 0 ? itemsIn(items).mid(1) : result->items, found.lastRange};
    return rc;
}

/** A scan that has not gathered anything yet. */
inline Scanned withLimit(int limit)
{
    Scanned progress;
    progress.limit = limit;
    return progress;
}

/**
 * A second implementation of the operators: `stop` is set if a query ends after such a value. Values are compared as
 * std::string, which compares characters as unsigned.
 */
inline bool matches(const QVariantMap& condition, const Bytes& value, const Bytes& low, bool* stop)
{
    const QString name = condition.value("ComparisonOperator").toString();
    const QVariantList list = condition.value("AttributeValueList").toList();
    const std::string v = value.toStdString();
    const std::string l = low.toStdString();
    const std::string h = list.size() < 2 ? "" : list.at(1).toMap().value("S").toString().toLatin1().toStdString();
    bool match = true;
    if (name == "EQ") {
        match = v == l;
        *stop = !match;
    } else if (name == "LE") {
        match = v.compare(l) <= 0;
    } else if (name == "LT") {
        match = v.compare(l) < 0;
    } else if (name == "GE") {
        match = v.compare(l) >= 0;
    } else if (name == "GT") {
        match = v.compare(l) > 0;
    } else if (name == "BEGINS_WITH") {
        match = v.substr(0, l.size()) == l;
        *stop = !match;
    } else if (name == "BETWEEN") {
        match = v.compare(l) >= 0 && v.compare(h) <= 0;
        *stop = v.compare(h) > 0;
    }
    return match;
}

/** The first value of a condition. */
inline Bytes lowOf(const QVariantMap& condition)
{
    return condition.value("AttributeValueList").toList().value(0).toMap().value("S").toString().toLatin1();
}

/** A database with records to walk over. */
class WalkTest : public testing::Test {
protected:
    BDBIndex* db(const Bytes& file = "items.db") { return env_.index(file); }

    /** The attributes of the record with these keys; they differ for each record. */
    static QVariantMap attributesOf(const Keys& keys)
    {
        return {{"v", QVariantMap{{"S", QString::fromLatin1(keys.first + '/' + keys.second)}}}};
    }

    void put(const Keys& keys, const Bytes& file = "items.db")
    {
        rawPut(db(file), Records::recordKey(keys.first, keys.second), Json::serialize(attributesOf(keys)));
    }
    void putAll(const QList<Keys>& all, const Bytes& file = "items.db")
    {
        for (const Keys& keys : all)
            put(keys, file);
    }
    void remove(const Keys& keys)
    {
        const Bytes key = Records::recordKey(keys.first, keys.second);
        Dbt dbt = dbtOf(key);
        ASSERT_EQ(db()->del(nullptr, &dbt, 0), 0);
    }

    /** The record with these keys, as a walk returns it. */
    QVariantMap itemOf(const Keys& keys) const
    {
        QVariantMap item = attributesOf(keys);
        item.insert(names_.hash, QVariantMap{{"S", QString::fromLatin1(keys.first)}});
        item.insert(names_.range, QVariantMap{{"S", QString::fromLatin1(keys.second)}});
        return item;
    }
    QVariantList itemsOf(const QList<Keys>& all) const
    {
        QVariantList items;
        for (const Keys& keys : all)
            items.append(itemOf(keys));
        return items;
    }

    int scan(const Keys& start, const QVariantMap& filter, Scanned* progress)
    {
        return scanItems(env_.env(), db(), start.first, start.second, filter, names_, progress);
    }
    int query(const QueryRange& range, Queried* result, bool wantItems = true)
    {
        return queryItems(env_.env(), db(), range, wantItems, names_, result);
    }

    TableEnv env_;
    const KeyNames names_{"id", "when"};
};

inline bool operator==(const Scanned& a, const Scanned& b)
{
    return a.limit == b.limit && a.count == b.count && a.scanned == b.scanned && a.items == b.items &&
           a.lastHash == b.lastHash && a.lastRange == b.lastRange;
}

inline void PrintTo(const Scanned& progress, std::ostream* out)
{
    *out << "limit " << progress.limit << " count " << progress.count << " scanned " << progress.scanned << " last "
         << testing::PrintToString(progress.lastHash) << ' ' << testing::PrintToString(progress.lastRange) << ' '
         << Json::serialize(progress.items).toStdString();
}

inline bool operator==(const Queried& a, const Queried& b)
{
    return a.count == b.count && a.items == b.items && a.lastRange == b.lastRange;
}

inline void PrintTo(const Queried& result, std::ostream* out)
{
    *out << "count " << result.count << " last " << testing::PrintToString(result.lastRange) << ' '
         << Json::serialize(result.items).toStdString();
}

#endif
