#include "api/writecondition.h"

#include "api/members.h"
#include "items/itemjson.h"

#include <utility>

namespace Api {

WriteCondition::WriteCondition(Expressions::Parameters&& parameters, const Items::JsonValue& request)
    : condition_(std::move(parameters.condition)),
      showsItem_(textIn(request, "ReturnValuesOnConditionCheckFailure") == "ALL_OLD")
{}

Failure WriteCondition::check(const Items::Item* item) const
{
    if (!condition_ || Expressions::holds(*condition_, item))
        return std::nullopt;
    if (!showsItem_ || item == nullptr)
        return Errors::conditionalCheckFailed();
    return Errors::conditionalCheckFailed("\"Item\":" + Items::jsonOf(*item));
}

} // namespace Api
