#ifndef QUORVA_REQUESTS_H
#define QUORVA_REQUESTS_H

#include <quorva/export.h>
#include <quorva/values.h>

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

/** What requests are made of, beside items. Plain values; what an operation needs not be told has a default. */
namespace Quorva {

/** A table and the names of its two key attributes. */
struct Table {
    QString name;      // DIRECTORY|TABLE; the directory has to exist, and the server refuses some names
    QString hashKey;   // the name of the attribute that is the hash key
    QString rangeKey;  // likewise; both are of type S
    int readUnits = 1; // stored and returned, nothing more; likewise writeUnits
    int writeUnits = 1;
};

/** Conditions on the stored item, by the names of its attributes; all have to hold. */
using Expected = QVariantMap;

/** Holds when the attribute is not there. */
QUORVA_EXPORT QVariantMap isAbsent();

/** Holds when the attribute is this string, or this integer. */
QUORVA_EXPORT QVariantMap isEqual(const Value& value);

/** What putItem and deleteItem may be told. */
struct WriteOptions {
    Expected expected{};
    bool returnOld = false; // have attributes() of the result hold the item that was there
};

/** Changes of an item, by the names of its attributes. */
using Updates = QVariantMap;

/** The attribute becomes this value. */
QUORVA_EXPORT QVariantMap putValue(const Value& value);

/** An integer is added, a string appended; an attribute that is not there becomes the value. */
QUORVA_EXPORT QVariantMap addValue(const Value& value);

/** The attribute goes. */
QUORVA_EXPORT QVariantMap deleteValue();

/** What attributes() of an updateItem's result holds. */
enum class ReturnValues {
    None,
    AllOld,     // the whole item before, its keys as bare strings
    AllNew,     // likewise after
    UpdatedOld, // of the attributes that were updated, the values before
    UpdatedNew, // likewise after
};

/** What updateItem may be told. */
struct UpdateOptions {
    Expected expected{};
    ReturnValues returnValues = ReturnValues::None;
};

/** What a key has to be. Keys compare by the bytes of their Latin-1 text. */
class QUORVA_EXPORT KeyCondition {
public:
    static KeyCondition equal(const QString& key);
    static KeyCondition less(const QString& key);
    static KeyCondition atMost(const QString& key);
    static KeyCondition greater(const QString& key);
    static KeyCondition atLeast(const QString& key);
    static KeyCondition between(const QString& low, const QString& high); // both included
    static KeyCondition beginsWith(const QString& prefix);

    /** The operator's name and its keys as the protocol has them: "BETWEEN" has two, the others one. */
    QString comparison() const { return comparison_; }
    QStringList keys() const { return keys_; }

private:
    QUORVA_INTERNAL KeyCondition(const char* comparison, QStringList keys);

    QString comparison_;
    QStringList keys_;
};

/**
 * What a query may be told. Without a condition, or with beginsWith, items come in the order of their range keys, or
 * from the last one down if `backward` is set. The other conditions decide by themselves: less and atMost walk
 * downward, the rest upward.
 */
struct QueryOptions {
    std::optional<KeyCondition> range{}; // on the range key
    bool backward = false;
    int limit = 0;                 // items to examine for one page; 0: the server's 128
    QStringList attributes{};      // only these and the keys; empty: all
    bool countOnly = false;        // no items, only their number
    std::optional<Key> startKey{}; // go on behind this key
};

/** What a scan may be told; see QueryOptions. */
struct ScanOptions {
    QMap<QString, KeyCondition> filter{}; // by the names of key attributes
    int limit = 0;
    QStringList attributes{};
    bool countOnly = false;
    std::optional<Key> startKey{};
};

/** Puts and deletes that are done together or not at all; all tables have to be of one directory. */
class QUORVA_EXPORT Batch {
public:
    Batch() = default;
    /** The batch that a request's "RequestItems", or a reply's "UnprocessedItems", says. */
    explicit Batch(const QVariantMap& requestItems);

    /** No item may occur twice in a table. */
    void putItem(const QString& table, const Item& item);
    void deleteItem(const QString& table, const Key& key);

    bool isEmpty() const { return requests_.isEmpty(); }
    QVariantMap requestItems() const;

private:
    QUORVA_INTERNAL void append(const QString& table, const char* kind, const QVariantMap& request);

    QMap<QString, QVariantList> requests_; // by table
};

} // namespace Quorva

#endif
