#ifndef QUORVA_BODIES_H
#define QUORVA_BODIES_H

#include "quorva/requests.h"

/** The bodies of requests, as the protocol has them. Not installed. */
namespace Quorva {

QVariantMap keyBody(const Key& key);
QVariantMap conditionBody(const KeyCondition& condition);
QVariantMap tableBody(const Table& table);
QVariantMap queryBody(const QString& table, const QString& hash, const QueryOptions& options);
QVariantMap scanBody(const QString& table, const ScanOptions& options);

} // namespace Quorva

#endif
