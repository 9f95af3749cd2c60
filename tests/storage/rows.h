#ifndef QUORVA_TESTS_STORAGE_ROWS_H
#define QUORVA_TESTS_STORAGE_ROWS_H

#include "storage/bdbindex.h"

#include <cstdlib>
#include <string>

/** How the tests open a database of their own. */
inline constexpr u_int32_t IndexOpenFlags = DB_CREATE | DB_THREAD | DB_AUTO_COMMIT;

/** A Dbt over the bytes of `text`, which must outlive it. */
inline Dbt dbtOf(std::string& text)
{
    return {text.data(), static_cast<u_int32_t>(text.size())};
}

inline int putRow(BDBIndex* index, BDBTxn* txn, std::string key, std::string value, u_int32_t flags = 0)
{
    Dbt keyBytes = dbtOf(key);
    Dbt valueBytes = dbtOf(value);
    return index->put(txn, &keyBytes, &valueBytes, flags);
}

inline int deleteRow(BDBIndex* index, BDBTxn* txn, std::string key, u_int32_t flags = 0)
{
    Dbt keyBytes = dbtOf(key);
    return index->del(txn, &keyBytes, flags);
}

/** The value of a row; "(result N)" when it cannot be read. Flags may be DB_READ_COMMITTED, DB_RMW and the like. */
inline std::string rowOf(BDBIndex* index, BDBTxn* txn, std::string key, u_int32_t flags = 0)
{
    Dbt keyBytes = dbtOf(key);
    Dbt value;
    value.set_flags(DB_DBT_MALLOC); // a handle shared by threads must not return memory of its own
    if (const int rc = index->get(txn, &keyBytes, &value, flags))
        return "(result " + std::to_string(rc) + ')';
    std::string text(static_cast<const char*>(value.get_data()), value.get_size());
    std::free(value.get_data());
    return text;
}

inline const std::string NoRow = "(result " + std::to_string(DB_NOTFOUND) + ')';

#endif
