#ifndef QUORVA_API_TABLEOPERATIONS_H
#define QUORVA_API_TABLEOPERATIONS_H

#include "api/operation.h"

/** The operations that manage tables. See Handler. */
namespace Api {

Failure createTable(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure deleteTable(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure describeContinuousBackups(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure describeEndpoints(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure describeLimits(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure describeTable(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure describeTimeToLive(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure listTables(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure listTagsOfResource(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure tagResource(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure untagResource(const Items::JsonValue& request, Context& context, JsonWriter* reply);
Failure updateTable(const Items::JsonValue& request, Context& context, JsonWriter* reply);

} // namespace Api

#endif
