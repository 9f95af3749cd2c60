#ifndef QUORVA_TOOLS_TABLEDIRECTORY_H
#define QUORVA_TOOLS_TABLEDIRECTORY_H

#include "base/directorylock.h"
#include "tools/directorysettings.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Ctl {

/**
 * A directory for tables that is made, or given settings. Functions return an empty string or an error message.
 *
 * The directory gets the access of the files that a server creates in it: none for others.
 */
class TableDirectory {
public:
    /** `directory`: as it was given, for messages. */
    explicit TableDirectory(const std::string& directory);

    /** Checks whether tables can be there and reads the settings that it has. Changes nothing. `advice`: what to try.
     */
    [[nodiscard]] std::string look(std::optional<std::uint64_t> cacheBytes, std::string* advice);

    /** Nothing has to be written: it has all settings. */
    bool isReady() const { return exists_ && settings_.isSame(); }

    /** It does not exist, or is as empty as a new file system. */
    bool isEmpty() const { return isEmpty_; }

    /** Whether a server would find an environment's files or settings in it. */
    bool isEnvironment() const { return isEnvironment_; }

    /** What make() would write. */
    const DirectorySettings::Merged& settings() const { return settings_; }

    /** The settings' file. */
    std::string configPath() const;

    /** Makes the directory, with those above it, unless it exists, and writes the settings. Forced to disk. */
    [[nodiscard]] std::string make();

private:
    std::string checkName(std::string* advice) const;
    std::string lookInside(std::string* config, std::string* advice);
    std::string lookAbove(std::string* advice) const;
    std::string readConfig(std::string* text) const;
    std::string makeDirectories();
    std::string writeConfig();

    const std::string given_;
    const std::filesystem::path path_;
    bool exists_ = false;
    bool isEmpty_ = true;
    bool isEnvironment_ = false;
    DirectorySettings::Merged settings_;
    std::vector<std::filesystem::path> made_; // the outermost first
    Base::DirectoryLock lock_;                // keeps servers out while the settings are written
};

} // namespace Ctl

#endif
