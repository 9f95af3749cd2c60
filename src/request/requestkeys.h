#ifndef QUORVA_REQUEST_REQUESTKEYS_H
#define QUORVA_REQUEST_REQUESTKEYS_H

#include <QByteArray>
#include <QLatin1StringView>
#include <QVariantMap>

class RequestBody;

/** Reading keys from requests and key names from schemas. Every failure is one ERROR line. Any thread. */

namespace Requests {

/**
 * Reads the two keys of a map with "HashKeyElement" and "RangeKeyElement", each {"S": string}. StatusInternalError if
 * one is missing or has another form, StatusInvalidRequest if it is not Latin-1.
 */
[[nodiscard]] int readElementKeys(const QVariantMap& key, QByteArray* hashKey, QByteArray* rangeKey);

/**
 * The same for the member "Key" of a request's body, or another name: usual text is read without a tree. A missing
 * member is an empty map.
 */
[[nodiscard]] int readElementKeys(const RequestBody& body, QLatin1StringView name, QByteArray* hashKey,
                                  QByteArray* rangeKey);

/** Reads the names of both key attributes from a table description. StatusInternalError on a bad schema. */
[[nodiscard]] int schemaKeyNames(const QVariantMap& schema, QString* hashName, QString* rangeName);

} // namespace Requests

#endif
