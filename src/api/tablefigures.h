#ifndef QUORVA_API_TABLEFIGURES_H
#define QUORVA_API_TABLEFIGURES_H

#include "api/operation.h"
#include "api/tabledescription.h"

#include <string_view>

namespace Api {

/**
 * The approximate number of items in a table, estimated from the number and size of its files. The number is not
 * stored, and counting would open all data files of the table; a directory can have at most 1023 open.
 */
long long estimatedItems(long long files, long long bytes);

/** Writes an object with one member: the table's description with its current figures. */
[[nodiscard]] Failure describe(const Table& table, std::string_view member, Context& context, JsonWriter* reply);

} // namespace Api

#endif
