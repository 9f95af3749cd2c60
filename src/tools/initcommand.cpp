#include "tools/initcommand.h"

#include "tools/arguments.h"
#include "tools/messages.h"
#include "tools/tabledirectory.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <optional>
#include <vector>

namespace Ctl {

namespace {

/** Reports what --force would change. */
int leaveAlone(const std::string& given, const TableDirectory& directory)
{
    std::vector<std::string> details;
    for (const std::string& line : directory.settings().added)
        details.push_back("--force adds to " + directory.configPath() + ": " + line);
    for (const std::string& change : directory.settings().changed)
        details.push_back("--force replaces in " + directory.configPath() + ": " + change);
    return fail(given + (directory.isEnvironment() ? " is a directory for tables already" : " is not empty") +
                    "; nothing was changed",
                details);
}

} // namespace

InitCommand::InitCommand(CLI::App* app)
    : Command(app, "init", "Create a directory for tables; needs no server", "quorvactl init build/shop --cache 256M")
{
    parser()->fallthrough(false); // no server, no address
    addDirectoryArgument(parser(), &directory_, "The directory; it and missing directories above it are created");
    parser()->add_option("--cache", cache_,
                         "The size of the cache of database pages in bytes, or with K, M or G; 64M by default");
    parser()->add_flag("--force", force_,
                       "Add the settings also to a directory that is not empty, such as one with tables");
}

int InitCommand::run(const ServerAddress&)
{
    std::optional<std::uint64_t> cache;
    if (cache_) {
        cache.emplace();
        if (const int code = refuse(DirectorySettings::readCacheSize(*cache_, &*cache)))
            return code;
    }
    TableDirectory directory(directory_);
    std::string advice;
    if (const std::string error = directory.look(cache, &advice); !error.empty())
        return advice.empty() ? fail(error) : fail(error, {"try: " + advice});
    if (directory.isReady())
        return ExitOk;
    if (!directory.isEmpty() && !force_)
        return leaveAlone(directory_, directory);
    if (const std::string error = directory.make(); !error.empty())
        return fail(error);
    return ExitOk;
}

} // namespace Ctl
