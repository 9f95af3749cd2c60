#ifndef QUORVA_TOOLS_REMOVALCOMMAND_H
#define QUORVA_TOOLS_REMOVALCOMMAND_H

#include "protocol/operations.h"
#include "tools/command.h"

#include <string>

namespace Ctl {

/** A command that permanently removes a table or its items, after confirmation on a terminal or with --yes. */
class RemovalCommand : public Command {
public:
    struct Kind {
        const char* name;
        const char* purpose;
        const char* example;
        Operations::Operation operation;
        const char* loss; // what is lost, for the question; the table's name follows
        const char* done; // what is printed afterwards; likewise
    };
    /** "drop-table TABLE" */
    static const Kind Drop;
    /** "truncate TABLE" */
    static const Kind Truncate;

    /** `kind` must outlive this object. */
    RemovalCommand(CLI::App* app, const Kind& kind);

    int run(const ServerAddress& server) override;

private:
    int confirm() const;

    const Kind& kind_;
    std::string table_;
    bool yes_ = false;
};

} // namespace Ctl

#endif
