#ifndef QUORVA_REQUEST_REQUESTKEYS_H
#define QUORVA_REQUEST_REQUESTKEYS_H

#include <QByteArray>
#include <QLatin1StringView>
#include <QVariantMap>

class RequestBody;

/** Reading keys out of requests and key names out of schemas. Every failure is one ERROR line. Any thread. */

namespace Requests {

/**
 * Reads the two keys of a map with "HashKeyElement" and "RangeKeyElement", each {"S": string}. StatusInternalError when
 * one is missing or has another form, StatusInvalidRequest when it is not Latin-1.
 */
[[nodiscard]] int readElementKeys(const QVariantMap& key, QByteArray* hashKey, QByteArray* rangeKey);

/**
 * The same for the member "Key" of a request's body, or another name: usual text is read without a tree. A missing
 * member is an empty map.
 */
[[nodiscard]] int readElementKeys(const RequestBody& body, QLatin1StringView name, QByteArray* hashKey,
                                  QByteArray* rangeKey);

/** Reads the names of both key attributes out of a table description. StatusInternalError on a bad schema. */
[[nodiscard]] int schemaKeyNames(const QVariantMap& schema, QString* hashName, QString* rangeName);

} // namespace Requests

#endif
