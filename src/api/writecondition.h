#ifndef QUORVA_API_WRITECONDITION_H
#define QUORVA_API_WRITECONDITION_H

#include "api/error.h"
#include "expressions/condition.h"
#include "expressions/parameters.h"
#include "items/attributevalue.h"
#include "items/json.h"

#include <optional>

namespace Api {

/** The condition of a write, if it has one. */
class WriteCondition {
public:
    WriteCondition(Expressions::Parameters&& parameters, const Items::JsonValue& request);

    bool isEmpty() const { return !condition_; }

    /** Fails with conditionalCheckFailed(), which includes the item if the request wants it. Null: there is no item. */
    [[nodiscard]] Failure check(const Items::Item* item) const;

private:
    std::optional<Expressions::Condition> condition_;
    bool showsItem_; // "ReturnValuesOnConditionCheckFailure" is "ALL_OLD"
};

} // namespace Api

#endif
