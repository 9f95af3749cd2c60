#ifndef QUORVA_RECORDS_PROJECTION_H
#define QUORVA_RECORDS_PROJECTION_H

#include <QVariantMap>

/** Cutting items down to an "AttributesToGet" list of names. Pure; any thread. */

/** Removes every attribute whose name is not in the list: for an item read by its key, which holds no key attributes.
 */
void projectItem(const QVariantList& attributesToGet, QVariantMap* item);

/** The same, but keeps the two key attributes: for items read by a walk, which puts them in. */
void projectItem(const QVariantList& attributesToGet, QVariantMap* item, const QString& hashName,
                 const QString& rangeName);

/** Projects each item of a result in place, key attributes kept. */
void projectItems(const QVariantList& attributesToGet, QVariantList* items, const QString& hashName,
                  const QString& rangeName);

#endif
