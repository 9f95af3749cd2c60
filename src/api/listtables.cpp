#include "api/commonshapes.h"
#include "api/directorylist.h"
#include "api/members.h"
#include "api/tablecatalog.h"
#include "api/tableoperations.h"
#include "api/validation.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Api {

namespace {

constexpr std::size_t MostTables = 100; // on a page

/** The name by which requests reach a table in a directory: its own, if the API allows such a name. */
std::string reachableName(const std::string& table, const std::string& directory)
{
    const Items::JsonValue text(rapidjson::StringRef(table.data(), table.size()));
    const bool isPlain = !Validation::checkLimits(text, Shapes::TableName);
    return isPlain ? table : directory + '|' + table;
}

} // namespace

Failure listTables(const Items::JsonValue& request, Context& context, JsonWriter* reply)
{
    const std::string& directory = context.settings.directory;
    std::vector<DirectoryList::Entry> entries;
    if (Failure failure = DirectoryList::readOpen(context.server, directory, &entries))
        return failure;
    std::vector<std::string> names;
    for (const DirectoryList::Entry& entry : entries) {
        if (entry.isDescribed)
            names.push_back(reachableName(entry.table, directory));
    }
    std::sort(names.begin(), names.end());

    const auto first = std::upper_bound(names.begin(), names.end(), textIn(request, "ExclusiveStartTableName"));
    const auto limit = static_cast<std::size_t>(numberIn(request, "Limit").value_or(MostTables));
    const auto last =
        first + static_cast<std::ptrdiff_t>(std::min(limit, static_cast<std::size_t>(names.end() - first)));
    reply->StartObject();
    if (last != names.end())
        put("LastEvaluatedTableName", *(last - 1), reply);
    putName("TableNames", reply);
    reply->StartArray();
    std::for_each(first, last, [&](const std::string& name) { putText(name, reply); });
    reply->EndArray();
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
