#include "api/members.h"
#include "api/newtable.h"
#include "api/tablecatalog.h"
#include "api/tableoperations.h"

namespace Api {

Failure createTable(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    Table table;
    if (Failure failure = NewTable::read(request, &table))
        return failure;
    table.name = context.tables.resolve(textIn(request, "TableName"));
    NewTable::complete(context.settings.now(), &table);
    if (Failure failure = context.tables.create(table))
        return failure;
    reply->StartObject();
    putName("TableDescription", reply);
    TableDescriptions::write(table, "ACTIVE", {}, reply);
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
