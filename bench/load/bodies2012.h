#ifndef QUORVA_BENCH_LOAD_BODIES2012_H
#define QUORVA_BENCH_LOAD_BODIES2012_H

#include <QString>
#include <QVariantMap>

/** Bodies of requests in the API of 2012-08-10, where they differ from those of 2011-12-05. */
namespace Bench::Bodies2012 {

/** The body of a GetItem. */
QVariantMap itemByKey(const QString& table, const QString& hash, const QString& range);

/** The body of an UpdateItem that adds 1 to an attribute, on condition that it exists. */
QVariantMap addOne(const QString& table, const QString& hash, const QString& range);

/** The body of a Query for all items of a hash key. */
QVariantMap query(const QString& table, const QString& hash);

/** The body of a Scan for a page that begins after an item. */
QVariantMap scan(const QString& table, const QString& hash, const QString& range);

} // namespace Bench::Bodies2012

#endif
