// Operations about the service as a whole.
#include "api/tableoperations.h"

namespace Api {

/** Capacity is not limited. These are the API's default limits, which programs compare their tables with. */
Failure describeLimits(const Items::JsonValue&, Context&, JsonWriter* reply)
{
    reply->StartObject();
    put("AccountMaxReadCapacityUnits", 80000, reply);
    put("AccountMaxWriteCapacityUnits", 80000, reply);
    put("TableMaxReadCapacityUnits", 40000, reply);
    put("TableMaxWriteCapacityUnits", 40000, reply);
    reply->EndObject();
    return std::nullopt;
}

/** The address by which the client has reached us. */
// cppcheck-suppress constParameter ; operations have one signature
Failure describeEndpoints(const Items::JsonValue&, Context& context, JsonWriter* reply)
{
    reply->StartObject();
    putName("Endpoints", reply);
    reply->StartArray();
    reply->StartObject();
    put("Address", context.host, reply);
    put("CachePeriodInMinutes", 1440, reply);
    reply->EndObject();
    reply->EndArray();
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
