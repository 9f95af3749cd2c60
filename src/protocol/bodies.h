#ifndef QUORVA_PROTOCOL_BODIES_H
#define QUORVA_PROTOCOL_BODIES_H

#include "protocol/keynames.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

/** Builds the bodies of requests and their parts, for clients. Callers insert further members. */
namespace Bodies {

/** {"S": text}. */
QVariantMap stringValue(const QString& text);

/** The value of "Key" or "ExclusiveStartKey". */
QVariantMap key(const QString& hash, const QString& range);

/** The body of an operation that needs only its table: DescribeTable, DeleteTable, Scan. */
QVariantMap table(const QString& name);

/** The body of a CreateTable; both key attributes are strings. */
QVariantMap createTable(const QString& name, const QString& hashName, const QString& rangeName);

/** Inserts the throughput of a new table. */
void setThroughput(int readUnits, int writeUnits, QVariantMap* body);

/** The body of an UpdateTable that requests an administrative action (see administration.h). */
QVariantMap adminAction(const QString& table, const char* action, const QString& value);

QVariantMap putItem(const QString& table, const QVariantMap& item);
/** The body of a GetItem or DeleteItem. */
QVariantMap itemByKey(const QString& table, const QString& hash, const QString& range);
QVariantMap updateItem(const QString& table, const QString& hash, const QString& range, const QVariantMap& updates);
QVariantMap query(const QString& table, const QString& hash);

/** The body of a BatchWriteItem: by table name, the list of its puts and deletes. */
QVariantMap batchWrite(const QVariantMap& requestItems);
/** One of a table's puts. `item` is a map, or the text of one (Json::RawText). */
QVariantMap putRequest(const QVariant& item);
/** One of a table's deletes. */
QVariantMap deleteRequest(const QVariantMap& key);

/** One entry of "AttributeUpdates"; UpdateDelete has no value. */
inline constexpr const char* UpdatePut = "PUT";
inline constexpr const char* UpdateAdd = "ADD";
inline constexpr const char* UpdateDelete = "DELETE";
QVariantMap update(const QString& action);
QVariantMap update(const QString& action, const QVariantMap& value);

/** One entry of "Expected": the attribute has this value, or is absent. */
QVariantMap expectedValue(const QVariantMap& value);
QVariantMap expectedAbsence();

/** The names of the key comparison operators. */
namespace Comparison {
inline constexpr const char* Equal = "EQ";
inline constexpr const char* Less = "LT";
inline constexpr const char* AtMost = "LE";
inline constexpr const char* Greater = "GT";
inline constexpr const char* AtLeast = "GE";
inline constexpr const char* BeginsWith = "BEGINS_WITH";
inline constexpr const char* Between = "BETWEEN";
} // namespace Comparison

/**
 * A "RangeKeyCondition", or an entry of "ScanFilter": the operator's name and its keys, two for "BETWEEN", otherwise
 * one.
 */
QVariantMap condition(const QString& comparison, const QStringList& keys);

// Insert members of a Query or Scan.
void setLimit(int limit, QVariantMap* body);
void setCountOnly(QVariantMap* body);
void setStartKey(const QVariantMap& key, QVariantMap* body);

// Insert members of a Query.
void setForward(bool forward, QVariantMap* body);
void setRangeCondition(const QVariantMap& condition, QVariantMap* body);

// Insert optional members, unless they are empty.
void addScanFilter(const QVariantMap& conditions, QVariantMap* body);
void addExpected(const QVariantMap& expected, QVariantMap* body);
void addAttributesToGet(const QStringList& names, QVariantMap* body);

// The values of "ReturnValues".
inline constexpr const char* ReturnNone = "NONE";
inline constexpr const char* ReturnAllOld = "ALL_OLD";
inline constexpr const char* ReturnAllNew = "ALL_NEW";
inline constexpr const char* ReturnUpdatedOld = "UPDATED_OLD";
inline constexpr const char* ReturnUpdatedNew = "UPDATED_NEW";
void setReturnValues(const char* values, QVariantMap* body);

/** The key attributes in a table's description, the "Table" of a reply. */
KeyNames keyNames(const QVariantMap& description);

} // namespace Bodies

#endif
