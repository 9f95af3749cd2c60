#ifndef QUORVA_BENCH_LIMITS_DIRECTRECORDS_H
#define QUORVA_BENCH_LIMITS_DIRECTRECORDS_H

#include "common/workload.h"

#include "records/encoding.h"

#include <QByteArray>

#include <db_cxx.h>

/** Items as records: where the server would put them, and the memory that is passed to Berkeley DB. */
namespace Bench {

inline unsigned partitionOfItem(unsigned item)
{
    return Records::partitionOf(hashKey(item), PartitionCount);
}

inline QByteArray keyOf(unsigned item)
{
    return Records::recordKey(hashKey(item), rangeKey(item));
}

inline Dbt dbtOf(const QByteArray& bytes)
{
    return {const_cast<char*>(bytes.constData()), static_cast<u_int32_t>(bytes.size())}; // Berkeley DB only reads it
}

} // namespace Bench

#endif
