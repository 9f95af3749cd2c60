#ifndef QUORVA_TOOLS_REQUESTCOMMAND_H
#define QUORVA_TOOLS_REQUESTCOMMAND_H

#include "tools/command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

/** "[call] OPERATION [JSON | -]": sends one request as it is given and prints the reply's JSON. */
class RequestCommand {
public:
    /** Declares the arguments on `app` itself and on a command "call". */
    explicit RequestCommand(CLI::App* app);

    /** Whether the word "call" is there. */
    bool called() const { return command_->parsed(); }
    /** The word that was given as the operation without "call", or nothing. */
    const std::string& bareOperation() const { return bare_.operation; }
    /** Operations begin with a capital letter, or hold the "." of a full name; anything else is a mistyped command. */
    bool bareOperationIsPlausible() const;
    int run(const ServerAddress& server) const;

private:
    struct Request {
        std::string operation;
        std::string body = "{}"; // "-" is standard input

        void declare(CLI::App* app, bool required);
    };

    CLI::App* const command_; // owned by the application
    Request bare_;
    Request called_;
};

} // namespace Ctl

#endif
