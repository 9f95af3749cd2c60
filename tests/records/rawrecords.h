#ifndef QUORVA_TESTS_RECORDS_RAWRECORDS_H
#define QUORVA_TESTS_RECORDS_RAWRECORDS_H

#include "records/items.h"
#include "storage/bdbindex.h"

#include <db_cxx.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

/** Reads and writes stored bytes, bypassing the record layer. */

inline Dbt dbtOf(const QByteArray& bytes)
{
    return Dbt(const_cast<char*>(bytes.constData()), static_cast<u_int32_t>(bytes.size()));
}

inline QByteArray takeBytes(Dbt& dbt)
{
    const QByteArray bytes(static_cast<const char*>(dbt.get_data()), static_cast<qsizetype>(dbt.get_size()));
    std::free(dbt.get_data());
    dbt.set_data(nullptr);
    return bytes;
}

/** The stored value of a key, if any. */
inline std::optional<QByteArray> rawGet(Db* db, const QByteArray& key)
{
    Dbt keyDbt = dbtOf(key);
    Dbt data;
    data.set_flags(DB_DBT_MALLOC);
    const int rc = db->get(nullptr, &keyDbt, &data, 0);
    EXPECT_TRUE(rc == 0 || rc == DB_NOTFOUND) << rc;
    if (rc != 0)
        return std::nullopt;
    return takeBytes(data);
}

inline void rawPut(BDBIndex* db, const QByteArray& key, const QByteArray& value)
{
    Dbt keyDbt = dbtOf(key);
    Dbt data = dbtOf(value);
    ASSERT_EQ(db->put(nullptr, &keyDbt, &data, 0), 0) << key.toStdString();
}

using RawRecords = std::map<QByteArray, QByteArray>;

/** All records of a database. */
inline RawRecords rawRecords(Db* db)
{
    RawRecords records;
    Dbc* cursor = nullptr;
    EXPECT_EQ(db->cursor(nullptr, &cursor, 0), 0);
    if (cursor == nullptr)
        return records;
    Dbt key, data;
    key.set_flags(DB_DBT_MALLOC);
    data.set_flags(DB_DBT_MALLOC);
    int rc = 0;
    while ((rc = cursor->get(&key, &data, DB_NEXT)) == 0) {
        const QByteArray keyBytes = takeBytes(key);
        records[keyBytes] = takeBytes(data);
    }
    EXPECT_EQ(rc, DB_NOTFOUND);
    EXPECT_EQ(cursor->close(), 0);
    return records;
}

/** All records of a database file that no environment has open: the bytes on disk. */
inline RawRecords recordsOnDisk(const std::string& path, const char* subDatabase)
{
    Db db(nullptr, DB_CXX_NO_EXCEPTIONS);
    const int rc = db.open(nullptr, path.c_str(), subDatabase, DB_BTREE, DB_RDONLY, 0);
    EXPECT_EQ(rc, 0) << path << ' ' << subDatabase;
    RawRecords records = rc == 0 ? rawRecords(&db) : RawRecords();
    EXPECT_EQ(db.close(0), 0);
    return records;
}

#endif
