#include "api/batchkeys.h"

#include "api/directorylist.h"
#include "format/tablename.h"

#include <algorithm>

namespace Api {

Failure BatchKeys::add(const Table& table, const StoredKey& key)
{
    const std::string_view directory = TableNames::directory(table.name.real);
    auto& directories = keys_[{std::string(TableNames::filePart(table.name.real)), key}];
    const bool isKnown =
        std::ranges::any_of(directories, [&](const std::string& other) { return areSame(directory, other); });
    if (isKnown)
        return Errors::validation("Provided list of item keys contains duplicates");
    directories.emplace(directory);
    return std::nullopt;
}

bool BatchKeys::areSame(std::string_view directory, std::string_view other)
{
    return directory == other || canonicalPath(directory) == canonicalPath(other);
}

const std::string& BatchKeys::canonicalPath(std::string_view directory)
{
    const auto known = paths_.find(directory);
    if (known != paths_.end())
        return known->second;
    std::string path;
    // A directory that cannot be found is none of the others: what is asked of it fails by itself.
    if (DirectoryList::findPath(server_, directory, &path))
        path = directory;
    return paths_.emplace(directory, std::move(path)).first->second;
}

} // namespace Api
