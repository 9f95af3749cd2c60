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
        ListAppend,  // two operands, as from here on
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
    bool isOlder = false;                // from AttributeUpdates, which has a message of its own

    /** What the update changes, in the order above. */
    std::vector<const Path*> paths() const;
};

/**
 * What the update makes of an item; every value in the update is computed from the item as it was. `before` has to have
 * the key attributes if the item is a new one. On failure false, with the message of the API's ValidationException in
 * `error`; `after` is then unspecified. The size of the whole item is left to the caller: what fails here is an update
 * whose values alone are larger than an item can be. Any thread.
 */
[[nodiscard]] bool apply(const Update& update, const Items::Item& before, Items::Item* after, std::string* error);

/** The places that the update changes, to be taken out of the item before or after it (UPDATED_OLD, UPDATED_NEW). */
PathTree placesOf(const Update& update);

/** The API's message for an update that changes a key attribute, empty if there is none such. */
std::string keyUpdateError(const Update& update, const std::set<std::string, std::less<>>& keyNames);

} // namespace Expressions

#endif
