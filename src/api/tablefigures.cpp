#include "api/tablefigures.h"

#include "api/directorylist.h"
#include "format/partitions.h"

#include <algorithm>

namespace Api {

namespace {

// The size of the description's file at most, and of a data file with no or few small items.
constexpr long long DescriptionBytes = 16384;
constexpr long long LeastFileBytes = 8192;

// How much each further item adds to a larger file: a guess.
constexpr long long ItemBytes = 1024;

} // namespace

long long estimatedItems(long long files, long long bytes)
{
    // The first file has the description. The others are created when they are needed, for the first item in each; a
    // table that has all of them may have been emptied since.
    const long long dataFiles = std::max(0LL, files - 1);
    const long long withAnItem = dataFiles < static_cast<long long>(Partitions::Count) ? dataFiles : 0;
    const long long further = bytes - DescriptionBytes - dataFiles * LeastFileBytes;
    return withAnItem + std::max(0LL, further) / ItemBytes;
}

Failure describe(const Table& table, std::string_view member, Context& context, JsonWriter* reply)
{
    TableFigures figures;
    DirectoryList::Entry files;
    if (Failure failure = DirectoryList::find(context.server, table.name.real, &files))
        return failure;
    figures.bytes = files.bytes;
    figures.items = estimatedItems(files.files, files.bytes);
    reply->StartObject();
    putName(member, reply);
    TableDescriptions::write(table, "ACTIVE", figures, reply);
    reply->EndObject();
    return std::nullopt;
}

} // namespace Api
