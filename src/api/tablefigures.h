#ifndef QUORVA_API_TABLEFIGURES_H
#define QUORVA_API_TABLEFIGURES_H

#include "api/operation.h"
#include "api/tabledescription.h"

namespace Api {

/** Reads the size of a table's files, and counts its items. */
[[nodiscard]] Failure readFigures(const Table& table, Context& context, TableFigures* figures);

} // namespace Api

#endif
