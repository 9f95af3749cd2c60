#include "api/directorylist.h"
#include "api/members.h"
#include "api/tablecatalog.h"
#include "api/tablefigures.h"
#include "api/tableoperations.h"

namespace Api {

Failure describeTable(const rapidjson::Value& request, Context& context, JsonWriter* reply)
{
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.findNamed(textIn(request, "TableName"), &table))
        return failure;
    TableFigures figures;
    if (Failure failure = readFigures(*table, context, &figures))
        return failure;
    reply->StartObject();
    putName("Table", reply);
    TableDescriptions::write(*table, "ACTIVE", figures, reply);
    reply->EndObject();
    return std::nullopt;
}

Failure deleteTable(const rapidjson::Value& request, Context& context, JsonWriter* reply)
{
    std::shared_ptr<const Table> table;
    if (Failure failure = context.tables.remove(textIn(request, "TableName"), &table))
        return failure;
    reply->StartObject();
    putName("TableDescription", reply);
    TableDescriptions::write(*table, "DELETING", {}, reply);
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
