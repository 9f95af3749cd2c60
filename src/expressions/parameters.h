#ifndef QUORVA_EXPRESSIONS_PARAMETERS_H
#define QUORVA_EXPRESSIONS_PARAMETERS_H

#include "expressions/condition.h"
#include "expressions/keycondition.h"
#include "expressions/pathtree.h"
#include "expressions/update.h"

#include "items/itemjson.h"
#include "items/json.h"

#include <optional>
#include <vector>

namespace Expressions {

/** Structures of the API's model that have expressions, or the parameters that expressions have replaced. */
enum class RequestKind {
    Get,    // GetItem; the value of a table in BatchGetItem
    Put,    // PutItem
    Delete, // DeleteItem
    Update, // UpdateItem
    Query,
    Scan,
};

/** All expressions of a request, or its older parameters, as trees. */
struct Parameters {
    std::optional<Condition> condition;
    std::optional<Condition> filter;
    std::optional<Update> update;
    std::optional<PathTree> projection;
    std::vector<KeyTest> keyTests; // of a Query; at least one
    bool isOlder = false;          // no expressions: the filter was QueryFilter or ScanFilter
};

/**
 * Reads them, in the API's order of checks: expressions and older parameters are not mixed; names and values are
 * well-formed; each expression is valid in itself; no name or value is unused. Members that are null count as missing.
 * False, with the API's message in `error`, when something is wrong; `parameters` is then unspecified.
 *
 * What depends on a table is left to bindKeyTests(), filterError() and keyUpdateError(). Any thread.
 */
[[nodiscard]] bool readParameters(RequestKind kind, const Items::JsonValue& request, Parameters* parameters,
                                  Items::JsonError* error);

} // namespace Expressions

#endif
