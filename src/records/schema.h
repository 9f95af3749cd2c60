#ifndef QUORVA_RECORDS_SCHEMA_H
#define QUORVA_RECORDS_SCHEMA_H

#include "records/tablecontext.h"

namespace Records {

/** The record key of a table's description in its "meta" database. */
QByteArray schemaRecordKey();

/**
 * Reads the table's description into `description` and, unless `rawOnly`, checks its key schema and caches it in
 * `table`: a table can hold items only when it has a hash key and a range key, both of type "S". With a null
 * `description` nothing is read if a key schema is already loaded.
 *
 * 0; StatusNotFound when the record is missing or its key schema is invalid (`description` is filled in the second
 * case); otherwise the code of the environment lookup, the database open or the read.
 *
 * The record is read again only after a change of a description in the environment. Then it is always read: a
 * description read before the change is used neither during nor after it.
 */
[[nodiscard]] int loadSchema(TableContext& table, const QByteArray& tableName, QVariantMap* description, bool rawOnly);

/** The members of a description's record; none if it is not JSON. */
QVariantMap parseDescription(const QByteArray& text);

/**
 * Reads the description from `meta`, the open database of a table's description in the current environment, whatever
 * its key schema is. 0, DB_NOTFOUND when there is none, or getDb's result.
 */
[[nodiscard]] int readDescription(TableContext& table, BDBIndex* meta, QVariantMap* description);

} // namespace Records

#endif
