#include "api/returnvalues.h"

#include "api/members.h"

namespace Api {

ReturnValues returnValuesOf(const Items::JsonValue& request)
{
    const std::string_view name = textIn(request, "ReturnValues");
    if (name == "ALL_OLD")
        return ReturnValues::AllOld;
    if (name == "UPDATED_OLD")
        return ReturnValues::UpdatedOld;
    if (name == "ALL_NEW")
        return ReturnValues::AllNew;
    if (name == "UPDATED_NEW")
        return ReturnValues::UpdatedNew;
    return ReturnValues::None;
}

Failure readOldOrNone(const Items::JsonValue& request, ReturnValues* values)
{
    *values = returnValuesOf(request);
    if (*values == ReturnValues::None || *values == ReturnValues::AllOld)
        return std::nullopt;
    return Errors::validation("ReturnValues can only be ALL_OLD or NONE");
}

} // namespace Api
