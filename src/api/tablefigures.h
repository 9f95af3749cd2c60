#ifndef QUORVA_API_TABLEFIGURES_H
#define QUORVA_API_TABLEFIGURES_H

#include "api/operation.h"
#include "api/tabledescription.h"

#include <string_view>

namespace Api {

/**
 * About how many items a table has, by the number and the bytes of its files. Nobody keeps that number, and to count
 * them would open all data files of the table, of which a directory can have no more than 1023 open.
 */
long long estimatedItems(long long files, long long bytes);

/** Writes an object with one member, the table's description with its present figures. */
[[nodiscard]] Failure describe(const Table& table, std::string_view member, Context& context, JsonWriter* reply);

} // namespace Api

#endif
