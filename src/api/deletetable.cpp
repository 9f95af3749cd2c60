#include "api/members.h"
#include "api/tablecatalog.h"
#include "api/tableoperations.h"

namespace Api {

Failure deleteTable(const Items::JsonValue& request, Context& context, JsonWriter* reply)
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
