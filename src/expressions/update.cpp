#include "expressions/update.h"

#include <algorithm>

namespace Expressions {

std::vector<const Path*> Update::paths() const
{
    std::vector<const Path*> paths;
    for (const Assignment& assignment : assignments)
        paths.push_back(&assignment.path);
    for (const Path& path : removals)
        paths.push_back(&path);
    for (const Change& addition : additions)
        paths.push_back(&addition.path);
    for (const Change& deletion : deletions)
        paths.push_back(&deletion.path);
    return paths;
}

PathTree placesOf(const Update& update)
{
    PathTree places;
    for (const Path* path : update.paths())
        (void)places.add(*path); // ignored: none clash
    return places;
}

std::string keyUpdateError(const Update& update, const std::set<std::string, std::less<>>& keyNames)
{
    for (const Path* path : update.paths()) {
        if (keyNames.contains(path->attribute()))
            return "One or more parameter values were invalid: Cannot update attribute " + path->attribute() +
                   ". This attribute is part of the key";
    }
    return {};
}

} // namespace Expressions
