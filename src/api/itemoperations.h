#ifndef QUORVA_API_ITEMOPERATIONS_H
#define QUORVA_API_ITEMOPERATIONS_H

#include "api/error.h"
#include "api/jsonwriter.h"
#include "api/operation.h"

#include <rapidjson/document.h>

/** The operations on items, each a Handler; itemsteps.h has those on one item that can be taken in steps. */
namespace Api {

[[nodiscard]] Failure updateItem(const rapidjson::Value& request, Context& context, JsonWriter* reply);
[[nodiscard]] Failure query(const rapidjson::Value& request, Context& context, JsonWriter* reply);
[[nodiscard]] Failure scan(const rapidjson::Value& request, Context& context, JsonWriter* reply);
[[nodiscard]] Failure batchGetItem(const rapidjson::Value& request, Context& context, JsonWriter* reply);
[[nodiscard]] Failure batchWriteItem(const rapidjson::Value& request, Context& context, JsonWriter* reply);

} // namespace Api

#endif
