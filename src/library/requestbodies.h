#ifndef QUORVA_LIBRARY_REQUESTBODIES_H
#define QUORVA_LIBRARY_REQUESTBODIES_H

#include "quorva/requests.h"

/** Builds the bodies of requests from the library's types. Not installed. */
namespace Quorva {

QVariantMap keyBody(const Key& key);
QVariantMap tableBody(const Table& table);
QVariantMap queryBody(const QString& table, const QString& hash, const QueryOptions& options);
QVariantMap scanBody(const QString& table, const ScanOptions& options);

} // namespace Quorva

#endif
