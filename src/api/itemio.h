#ifndef QUORVA_API_ITEMIO_H
#define QUORVA_API_ITEMIO_H

#include "api/error.h"
#include "api/replyjson.h"
#include "expressions/parameters.h"
#include "items/attributevalue.h"
#include "items/json.h"

#include <optional>

namespace Api {

/** Read a request's attributes, or one value; see items/itemjson.h. */
[[nodiscard]] Failure readItem(const Items::JsonValue& json, Items::Item* item);
[[nodiscard]] Failure readValue(const Items::JsonValue& json, Items::AttributeValue* value);

/** Reads a request's expressions or older parameters; see expressions/parameters.h. */
[[nodiscard]] Failure readParameters(Expressions::RequestKind kind, const Items::JsonValue& request,
                                     Expressions::Parameters* parameters);

/** Writes an item, or only those parts of it that a projection has. */
void writeItem(const Items::Item& item, const std::optional<Expressions::PathTree>& projection, JsonWriter* writer);

} // namespace Api

#endif
