#ifndef QUORVA_TOOLS_QUERYCOMMAND_H
#define QUORVA_TOOLS_QUERYCOMMAND_H

#include "tools/pagedread.h"

#include <string>
#include <utility>
#include <vector>

namespace Ctl {

/** "query TABLE HASH [CONDITION]": prints the items of one hash key whose range key meets a condition. */
class QueryCommand {
public:
    explicit QueryCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    QVariantMap condition() const;

    CLI::App* const command_; // owned by the application
    std::string table_;
    std::string hash_;
    std::string value_;                // of the one-valued condition
    std::vector<std::string> between_; // two values, or none
    bool backward_ = false;
    PageOptions options_;
    std::vector<std::pair<CLI::Option*, const char*>> conditions_; // one-valued ones, with the API's operators
};

} // namespace Ctl

#endif
