#ifndef QUORVA_API_RETURNVALUES_H
#define QUORVA_API_RETURNVALUES_H

#include "api/error.h"
#include "items/json.h"

namespace Api {

/** Which attributes a write returns: the member "ReturnValues". */
enum class ReturnValues { None, AllOld, UpdatedOld, AllNew, UpdatedNew };

ReturnValues returnValuesOf(const Items::JsonValue& request);

/** The same, for writes that can return only the old item. */
[[nodiscard]] Failure readOldOrNone(const Items::JsonValue& request, ReturnValues* values);

} // namespace Api

#endif
