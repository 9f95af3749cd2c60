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

/** The parts of requests other than items. Plain values; everything optional has a default. */
namespace Quorva {

/** A table and the names of its two key attributes. */
struct Table {
    QString name;      // DIRECTORY|TABLE; the directory must exist, and the server refuses some names
    QString hashKey;   // the name of the attribute that is the hash key
    QString rangeKey;  // likewise; both are of type S
    int readUnits = 1; // stored and returned, without effect; likewise writeUnits
    int writeUnits = 1;
};

/** Conditions on the stored item, by attribute name; all must hold. */
using Expected = QVariantMap;

/** Holds when the item has no such attribute. */
QUORVA_EXPORT QVariantMap isAbsent();

/** Holds when the attribute is this string, or this integer. */
QUORVA_EXPORT QVariantMap isEqual(const Value& value);

/** Options of putItem and deleteItem. */
struct WriteOptions {
    Expected expected{};
    bool returnOld = false; // return the previous item in the result's attributes()
};

/** Changes to an item, by attribute name. */
using Updates = QVariantMap;

/** Sets the attribute to this value. */
QUORVA_EXPORT QVariantMap putValue(const Value& value);

/** Adds an integer or appends a string; sets an attribute that does not exist. */
QUORVA_EXPORT QVariantMap addValue(const Value& value);

/** Removes the attribute. */
QUORVA_EXPORT QVariantMap deleteValue();

/** What attributes() of an updateItem's result contains. */
enum class ReturnValues {
    None,
    AllOld,     // the whole item before the update, its keys as bare strings
    AllNew,     // likewise after
    UpdatedOld, // the previous values of the updated attributes
    UpdatedNew, // likewise after
};

/** Options of updateItem. */
struct UpdateOptions {
    Expected expected{};
    ReturnValues returnValues = ReturnValues::None;
};

/** A condition on a key. Keys are compared by the bytes of their Latin-1 text. */
class QUORVA_EXPORT KeyCondition {
public:
    static KeyCondition equal(const QString& key);
    static KeyCondition less(const QString& key);
    static KeyCondition atMost(const QString& key);
    static KeyCondition greater(const QString& key);
    static KeyCondition atLeast(const QString& key);
    static KeyCondition between(const QString& low, const QString& high); // inclusive
    static KeyCondition beginsWith(const QString& prefix);

    /** The operator's name and its keys, as in the protocol: "BETWEEN" has two, the others one. */
    QString comparison() const { return comparison_; }
    QStringList keys() const { return keys_; }

private:
    QUORVA_INTERNAL KeyCondition(const char* comparison, QStringList keys);

    QString comparison_;
    QStringList keys_;
};

/**
 * Options of a query. Without a condition, or with beginsWith, items are in ascending order of their range keys, or in
 * descending order if `backward` is set. The other conditions determine the direction: less and atMost walk downward,
 * the rest upward.
 */
struct QueryOptions {
    std::optional<KeyCondition> range{}; // on the range key
    bool backward = false;
    int limit = 0;                 // items to examine for one page; 0: the server's 128
    QStringList attributes{};      // only these and the keys; empty: all
    bool countOnly = false;        // no items, only their number
    std::optional<Key> startKey{}; // resume after this key
};

/** Options of a scan; see QueryOptions. */
struct ScanOptions {
    QMap<QString, KeyCondition> filter{}; // by name of the key attribute
    int limit = 0;
    QStringList attributes{};
    bool countOnly = false;
    std::optional<Key> startKey{};
};

/** Puts and deletes that are executed together or not at all; all tables must be in one directory. */
class QUORVA_EXPORT Batch {
public:
    Batch() = default;
    /** The batch described by a request's "RequestItems" or a reply's "UnprocessedItems". */
    explicit Batch(const QVariantMap& requestItems);

    /** No item may occur twice in a table. */
    void putItem(const QString& table, const Item& item);
    void deleteItem(const QString& table, const Key& key);

    bool isEmpty() const { return requests_.isEmpty(); }
    QVariantMap requestItems() const;

private:
    QMap<QString, QVariantList> requests_; // by table
};

} // namespace Quorva

#endif
