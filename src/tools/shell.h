#ifndef QUORVA_TOOLS_SHELL_H
#define QUORVA_TOOLS_SHELL_H

#include "tools/lineeditor.h"
#include "tools/serveraddress.h"
#include "tools/shellhistory.h"

#include <string>
#include <vector>

namespace Ctl {

class CommandLine;

/**
 * Reads command lines from the terminal and runs each in its own process, so that Ctrl-C ends only the command.
 */
class Shell {
public:
    /** `server` is the default for all commands. */
    Shell(std::string version, const ServerAddress& server);

    /** Runs until the user leaves. Returns an exit code. */
    [[nodiscard]] int run();

private:
    enum class Next { Continue, Leave };

    LineEditor::Result readCommand(std::string* text);
    Next take(const std::string& text);
    void runWords(const std::vector<std::string>& words) const;
    static void runInChild(const CommandLine& line);
    LineEditor::Completion complete(const std::string& text) const;

    const std::string version_;
    const ServerAddress server_;
    const ShellHistory history_;
    LineEditor editor_;
    std::string last_; // the last line in the history
};

} // namespace Ctl

#endif
