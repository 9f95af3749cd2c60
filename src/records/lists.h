#ifndef QUORVA_RECORDS_LISTS_H
#define QUORVA_RECORDS_LISTS_H

#include <QVariant>

namespace Records {

/** A JSON list. Anything else counts as an empty one: Qt would also convert a string to a list of its characters. */
inline QVariantList listOf(const QVariant& value)
{
    return value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList();
}

} // namespace Records

#endif
