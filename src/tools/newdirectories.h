#ifndef QUORVA_TOOLS_NEWDIRECTORIES_H
#define QUORVA_TOOLS_NEWDIRECTORIES_H

#include <filesystem>
#include <string>
#include <vector>

namespace Ctl {

/** Makes a directory, and removes it again if nothing comes of it. */
class NewDirectories {
public:
    /**
     * Makes a directory unless it exists, with those above it that are missing. Returns an empty string or an error
     * message; then nothing is left of it.
     */
    [[nodiscard]] std::string make(const std::filesystem::path& directory);

    /** Removes those that were made, as far as they are empty. */
    void removeEmpty();

private:
    std::vector<std::filesystem::path> made_; // outermost first
};

} // namespace Ctl

#endif
