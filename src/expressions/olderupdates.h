#ifndef QUORVA_EXPRESSIONS_OLDERUPDATES_H
#define QUORVA_EXPRESSIONS_OLDERUPDATES_H

#include "expressions/pathtree.h"
#include "expressions/update.h"

#include "items/itemjson.h"
#include "items/json.h"

namespace Expressions {

/** As in olderconditions.h. Names of attributes are taken literally: a dot does not make a path. */

[[nodiscard]] bool readAttributeUpdates(const Items::JsonValue& json, Update* update, Items::JsonError* error);

[[nodiscard]] bool readAttributesToGet(const Items::JsonValue& json, PathTree* projection, Items::JsonError* error);

} // namespace Expressions

#endif
