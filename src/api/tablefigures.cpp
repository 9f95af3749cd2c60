#include "api/tablefigures.h"

#include "api/directorylist.h"

namespace Api {

Failure readFigures(const Table& table, Context& context, TableFigures* figures)
{
    DirectoryList::Entry files;
    if (Failure failure = DirectoryList::find(context.server, table.name.real, &files))
        return failure;
    figures->bytes = files.bytes;
    return std::nullopt;
}

} // namespace Api
