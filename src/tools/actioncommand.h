#ifndef QUORVA_TOOLS_ACTIONCOMMAND_H
#define QUORVA_TOOLS_ACTIONCOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** A command that only requests an administrative action on a table's environment. */
class ActionCommand : public Command {
public:
    struct Kind {
        const char* name;
        const char* purpose;
        const char* example;
        const char* action; // see protocol/administration.h
        const char* failed; // the beginning of an error message; the table's name follows
    };
    /** "flush TABLE" */
    static const Kind Flush;
    /** "stop TABLE", a subcommand of "backup" */
    static const Kind StopBackup;

    /** `kind` must outlive this object. */
    ActionCommand(CLI::App* app, const Kind& kind);

    int run(const ServerAddress& server) override;

private:
    const Kind& kind_;
    std::string table_;
};

} // namespace Ctl

#endif
