#ifndef QUORVA_TOOLS_COMMANDLINE_H
#define QUORVA_TOOLS_COMMANDLINE_H

#include "tools/commandlist.h"
#include "tools/serveraddress.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Ctl {

/** A command line of quorvactl: its parser, and the commands that are declared to it. For one parse. */
class CommandLine {
public:
    /** `version` is what --version prints, `server` has the defaults of the options. */
    explicit CommandLine(const std::string& version, ServerAddress server = {});
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /**
     * Parses the words after the program's name. Returns nothing if there is something to run; otherwise an exit code:
     * the help or an error message was printed. Words without a command are an error unless `mayLackCommand`.
     */
    [[nodiscard]] std::optional<int> parse(const std::vector<std::string>& words, bool mayLackCommand = false);

    /** Whether the words have a command. */
    bool hasCommand() const { return commands_.chosen() != nullptr; }
    /** Whether its output may be shown in a pager. */
    bool isPaged() const { return commands_.chosen()->isPaged(); }
    /** Runs it. Returns an exit code. */
    [[nodiscard]] int run() const { return commands_.runChosen(server_); }

    const CLI::App& parser() const { return *parser_; }
    const ServerAddress& server() const { return server_; }

private:
    ServerAddress server_; // the parser stores its options there
    const std::unique_ptr<CLI::App> parser_;
    const CommandList commands_;
};

} // namespace Ctl

#endif
