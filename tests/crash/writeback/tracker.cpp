#include "writeback/tracker.h"

#include <cstdlib>

namespace WriteBack {

namespace {

std::string directoryFrom(const char* variable)
{
    const char* path = std::getenv(variable);
    return path == nullptr || *path == '\0' ? std::string() : std::string(path) + '/';
}

} // namespace

Tracker& tracker()
{
    static Tracker* const instance = [] {
        auto* made = new Tracker;
        made->state = directoryFrom("CRASH_DURABLE_DIRECTORY");
        if (!made->state.empty()) {
            made->environment = directoryFrom("CRASH_ENVIRONMENT");
            made->strict = directoryFrom("CRASH_STRICT_DIRECTORY");
        }
        made->strictNames = std::getenv("CRASH_STRICT_NAMES") != nullptr;
        made->ignoreSync = std::getenv("CRASH_IGNORE_SYNC") != nullptr;
        return made;
    }();
    return *instance;
}

bool isBelow(const std::string& path, const std::string& directory)
{
    return !directory.empty() && path.starts_with(directory);
}

std::string rootOf(const std::string& path)
{
    for (const std::string& root : {tracker().environment, tracker().strict}) {
        if (isBelow(path + '/', root))
            return root;
    }
    return {};
}

Descriptor lookup(int descriptor)
{
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    const auto found = all.descriptors.find(descriptor);
    return found == all.descriptors.end() ? Descriptor() : found->second;
}

} // namespace WriteBack
