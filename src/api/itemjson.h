#ifndef QUORVA_API_ITEMJSON_H
#define QUORVA_API_ITEMJSON_H

#include "api/error.h"
#include "items/attributevalue.h"

#include <rapidjson/document.h>

namespace Api {

/** Read a request's attributes, or one value; see items/itemjson.h. */
[[nodiscard]] Failure readItem(const rapidjson::Value& json, Items::Item* item);
[[nodiscard]] Failure readValue(const rapidjson::Value& json, Items::AttributeValue* value);

} // namespace Api

#endif
