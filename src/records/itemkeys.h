#ifndef QUORVA_RECORDS_ITEMKEYS_H
#define QUORVA_RECORDS_ITEMKEYS_H

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

struct KeySchema;

namespace Records {

/**
 * Divides an item into its keys and the value that is stored: the JSON of the item without its key attributes. Results
 * as of extractKeys; `stored` is then unchanged.
 *
 * An item that is a Json::SplitObject stays text when its keys are plain. The result is the same as for its tree. Pure;
 * any thread.
 */
[[nodiscard]] int takeKeys(const KeySchema& schema, QVariant item, QByteArray* hashKey, QByteArray* rangeKey,
                           QByteArray* stored);

/**
 * The value that is stored for an item that is given without its key attributes. False for one that has any of them, or
 * is not an object. Pure; any thread.
 */
[[nodiscard]] bool storeWithoutKeys(const KeySchema& schema, const QVariant& item, QByteArray* stored);

/**
 * The name of the first attribute of an item whose value is not an object with one member, named in capital letters for
 * its type: {"S": "x"}, {"M": {...}}, {"BOOL": true}. Whether what is in it fits the type is not looked at. Unset if
 * there is none; the item is one that storeWithoutKeys() has taken. Pure; any thread.
 */
[[nodiscard]] std::optional<QString> findUntyped(const QVariant& item);

} // namespace Records

#endif
