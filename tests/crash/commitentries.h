#ifndef QUORVA_TESTS_CRASH_COMMITENTRIES_H
#define QUORVA_TESTS_CRASH_COMMITENTRIES_H

#include "support/tablefixture.h"

#include <QVariantMap>

#include <optional>

/** The attributes of an item, without its keys; nothing when it does not exist. */
using Attributes = std::optional<QVariantMap>;

/** An entry of a Commit that changes the current state into the wanted one. */
inline QVariantMap commitEntry(const QString& tableName, const QString& hash, const QString& range,
                               const Attributes& present, const Attributes& wanted)
{
    QVariantMap entry{
        {"TableName", tableName},
        {"Key", itemKey(hash, range)},
        {"Expected", present ? QVariantMap{{"Item", *present}} : QVariantMap{{"Exists", false}}},
    };
    if (wanted)
        entry.insert("Put", *wanted);
    else
        entry.insert("Delete", true);
    return entry;
}

inline int numberOf(const QVariantMap& item, const QString& attribute)
{
    return item.value(attribute).toMap().value("N").toString().toInt();
}

#endif
