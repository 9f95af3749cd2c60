#ifndef QUORVA_EXPRESSIONS_UPDATE_H
#define QUORVA_EXPRESSIONS_UPDATE_H

#include "expressions/path.h"
#include "expressions/pathtree.h"
#include "expressions/sharedvalue.h"

#include "items/attributevalue.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Expressions {

/** The right side of a SET action. */
struct SetValue {
    enum class Kind {
        Path,
        Value,
        IfNotExists, // the value at `path`, else that of the one operand
        ListAppend,  // two operands, from here on
        Plus,
        Minus,
    };
    Kind kind = Kind::Value;
    std::optional<Path> path; // for Path and IfNotExists
    SharedValue value;        // for Value
    std::vector<SetValue> operands;
};

/** An update, from an expression or from the older parameters. No two paths in it overlap or conflict. */
struct Update {
    struct Assignment {
        Path path;
        SetValue value;
    };
    struct Change {
        Path path;
        SharedValue value;
    };
    std::vector<Assignment> assignments; // SET
    std::vector<Path> removals;          // REMOVE
    std::vector<Change> additions;       // ADD: numbers and sets, and lists from the older parameters
    std::vector<Change> deletions;       // DELETE: sets
    bool isOlder = false;                // from AttributeUpdates, which has its own message

    /** What the update changes, in the order above. */
    std::vector<const Path*> paths() const;
};

/**
 * Applies the update to an item; every value is computed from the item as it was. For an item that does not exist,
 * `before` must have its key attributes. On failure false, with the message of the API's ValidationException in
 * `error`; `after` is then unspecified. The caller checks the size of the whole item: here only an update fails whose
 * values alone are larger than an item may be. Any thread.
 */
[[nodiscard]] bool apply(const Update& update, const Items::Item& before, Items::Item* after, std::string* error);

/** The places that the update changes, for the parts of the item before or after it (UPDATED_OLD, UPDATED_NEW). */
PathTree placesOf(const Update& update);

/** The API's message if the update changes a key attribute, else empty. */
std::string keyUpdateError(const Update& update, const std::set<std::string, std::less<>>& keyNames);

} // namespace Expressions

#endif
