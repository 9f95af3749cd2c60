#include "api/members.h"
#include "api/tablecatalog.h"
#include "api/tablefigures.h"
#include "api/tableoperations.h"

namespace Api {

Failure describeTable(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.findNamed(textIn(request, "TableName"), &table))
        return failure;
    return describe(*table, "Table", context, reply);
}

Failure describeTimeToLive(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.findNamed(textIn(request, "TableName"), &table))
        return failure;
    reply->StartObject();
    putName("TimeToLiveDescription", reply);
    reply->StartObject();
    put("TimeToLiveStatus", std::string_view("DISABLED"), reply);
    reply->EndObject();
    reply->EndObject();
    return std::nullopt;
}

Failure describeContinuousBackups(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    std::shared_ptr<const Table> table;
    Failure failure = context.tables.find(textIn(request, "TableName"), &table);
    if (failure && failure->type == Errors::resourceNotFound().type)
        return Errors::backupTableNotFound(context.tables.resolve(textIn(request, "TableName")).shown);
    if (failure)
        return failure;
    reply->StartObject();
    putName("ContinuousBackupsDescription", reply);
    reply->StartObject();
    put("ContinuousBackupsStatus", std::string_view("DISABLED"), reply);
    putName("PointInTimeRecoveryDescription", reply);
    reply->StartObject();
    put("PointInTimeRecoveryStatus", std::string_view("DISABLED"), reply);
    reply->EndObject();
    reply->EndObject();
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
