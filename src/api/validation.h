#ifndef QUORVA_API_VALIDATION_H
#define QUORVA_API_VALIDATION_H

#include "api/error.h"
#include "api/shapes.h"
#include "items/json.h"

/** Checks requests against their shapes. Pure; any thread. */
namespace Api::Validation {

/** Fails with serialization() at the first value whose JSON type is not that of its shape. */
[[nodiscard]] Failure checkTypes(const Items::JsonValue& request, const Shape& shape);

/** Fails with validation(), in one text for all violated limits. The types must have been checked. */
[[nodiscard]] Failure checkLimits(const Items::JsonValue& request, const Shape& shape);

} // namespace Api::Validation

#endif
