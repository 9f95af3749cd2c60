#ifndef QUORVA_TOOLS_REQUESTCOMMAND_H
#define QUORVA_TOOLS_REQUESTCOMMAND_H

#include "tools/command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

/** "OPERATION [JSON | -]": sends one request as it is given and prints the reply's JSON. */
class RequestCommand {
public:
    /** Declares the arguments on `app`, which fills this object when it parses. */
    explicit RequestCommand(CLI::App* app);

    bool chosen() const { return !operation_.empty(); }
    const std::string& operation() const { return operation_; }
    int run(const ServerAddress& server) const;

private:
    std::string operation_;
    std::string body_ = "{}"; // "-" is standard input
};

} // namespace Ctl

#endif
