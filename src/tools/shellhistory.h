#ifndef QUORVA_TOOLS_SHELLHISTORY_H
#define QUORVA_TOOLS_SHELLHISTORY_H

#include <string>
#include <vector>

namespace Ctl {

/**
 * The lines of earlier shells, one per line of a file that only its user can read: values in them may be secret. Shells
 * that run concurrently add to it without losing each other's lines. If there is no place for the file, nothing is
 * kept, without a message.
 */
class ShellHistory {
public:
    static constexpr std::size_t MostLines = 1000;

    /** quorva/quorvactl_history in XDG_STATE_HOME, or in ~/.local/state; empty without either. */
    static std::string usualPath();

    /** An empty path keeps nothing. */
    explicit ShellHistory(std::string path) : path_(std::move(path)) {}

    /** The last MostLines lines, the oldest first. Truncates a file that has grown to twice as many. */
    std::vector<std::string> load() const;
    /** Adds a line; an entry of several lines is not kept. */
    void add(const std::string& line) const;

private:
    void rewrite(const std::vector<std::string>& lines) const;

    const std::string path_;
};

} // namespace Ctl

#endif
