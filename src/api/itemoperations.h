#ifndef QUORVA_API_ITEMOPERATIONS_H
#define QUORVA_API_ITEMOPERATIONS_H

#include "api/error.h"
#include "api/operation.h"
#include "api/replyjson.h"
#include "items/json.h"

/** The operations on items, each a Handler; itemsteps.h has those on one item that can be taken in steps. */
namespace Api {

[[nodiscard]] Failure updateItem(const Items::JsonValue& request, Context& context, JsonWriter* reply);
[[nodiscard]] Failure query(const Items::JsonValue& request, Context& context, JsonWriter* reply);
[[nodiscard]] Failure scan(const Items::JsonValue& request, Context& context, JsonWriter* reply);
[[nodiscard]] Failure batchGetItem(const Items::JsonValue& request, Context& context, JsonWriter* reply);
[[nodiscard]] Failure batchWriteItem(const Items::JsonValue& request, Context& context, JsonWriter* reply);

} // namespace Api

#endif
