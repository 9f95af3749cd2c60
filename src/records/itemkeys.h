#ifndef QUORVA_RECORDS_ITEMKEYS_H
#define QUORVA_RECORDS_ITEMKEYS_H

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

struct KeySchema;

namespace Records {

/**
 * Splits an item into its keys and the value that is stored: the JSON of the item without its key attributes. Results
 * as those of extractKeys; on failure `stored` is unchanged.
 *
 * An item that is a Json::SplitObject remains text if its keys are plain. The result is the same as for its tree. Pure;
 * any thread.
 */
[[nodiscard]] int takeKeys(const KeySchema& schema, QVariant item, QByteArray* hashKey, QByteArray* rangeKey,
                           QByteArray* stored);

/**
 * The value that is stored for an item that is given without its key attributes. False if it has any of them, or is not
 * an object. Pure; any thread.
 */
[[nodiscard]] bool storeWithoutKeys(const KeySchema& schema, const QVariant& item, QByteArray* stored);

/**
 * The name of the first attribute of an item whose value is not an object with one member, named after its type in
 * capital letters: {"S": "x"}, {"M": {...}}, {"BOOL": true}. Does not check whether the content matches the type. Unset
 * if there is none; `item` must be one that storeWithoutKeys() has accepted. Pure; any thread.
 */
[[nodiscard]] std::optional<QString> findUntyped(const QVariant& item);

} // namespace Records

#endif
