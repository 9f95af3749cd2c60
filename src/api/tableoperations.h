#ifndef QUORVA_API_TABLEOPERATIONS_H
#define QUORVA_API_TABLEOPERATIONS_H

#include "api/operation.h"

/** The operations that manage tables. See Handler. */
namespace Api {

Failure createTable(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure deleteTable(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure describeContinuousBackups(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure describeEndpoints(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure describeLimits(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure describeTable(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure describeTimeToLive(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure listTables(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure listTagsOfResource(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure tagResource(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure untagResource(const rapidjson::Value& request, Context& context, JsonWriter* reply);
Failure updateTable(const rapidjson::Value& request, Context& context, JsonWriter* reply);

} // namespace Api

#endif
