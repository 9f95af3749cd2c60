#ifndef QUORVA_API_WRITECONDITION_H
#define QUORVA_API_WRITECONDITION_H

#include "api/error.h"
#include "expressions/condition.h"
#include "expressions/parameters.h"
#include "items/attributevalue.h"

#include <rapidjson/document.h>

#include <optional>

namespace Api {

/** The condition of a write, if it has one. */
class WriteCondition {
public:
    WriteCondition(Expressions::Parameters&& parameters, const rapidjson::Value& request);

    bool isEmpty() const { return !condition_; }

    /** Fails with conditionalCheckFailed(), with the item if it is to be shown; `item` is null if there is none. */
    [[nodiscard]] Failure check(const Items::Item* item) const;

private:
    std::optional<Expressions::Condition> condition_;
    bool showsItem_; // "ReturnValuesOnConditionCheckFailure" is "ALL_OLD"
};

} // namespace Api

#endif
