#ifndef QUORVA_TOOLS_REQUESTCOMMAND_H
#define QUORVA_TOOLS_REQUESTCOMMAND_H

#include "tools/command.h"

#include <string>

namespace Ctl {

/** "[call] OPERATION [JSON | -]": sends one request as given and prints the reply's JSON. */
class RequestCommand : public Command {
public:
    /** Declares the arguments on `app` itself and on a command "call". */
    explicit RequestCommand(CLI::App* app);

    /** Also true without the word "call". */
    bool chosen() const override { return Command::chosen() || !bare_.operation.empty(); }
    int run(const ServerAddress& server) override;
    bool isPaged() const override { return true; }

private:
    struct Request {
        std::string operation;
        std::string body = "{}"; // "-" is standard input

        void declare(CLI::App* app, bool required);
    };

    void checkBareOperation(const CLI::App& app) const;

    Request bare_; // without the word
    Request called_;
};

} // namespace Ctl

#endif
