#ifndef QUORVA_TOOLS_QUERYCOMMAND_H
#define QUORVA_TOOLS_QUERYCOMMAND_H

#include "tools/command.h"
#include "tools/pagedread.h"

#include <string>
#include <utility>
#include <vector>

namespace CLI {
class Option;
}

namespace Ctl {

/** "query TABLE HASH [CONDITION]": prints the items of one hash key whose range key meets a condition. */
class QueryCommand : public Command {
public:
    explicit QueryCommand(CLI::App* app);

    int run(const ServerAddress& server) override;
    bool isPaged() const override { return true; }

private:
    QVariantMap condition() const;

    std::string table_;
    std::string hash_;
    std::string value_;                // of the condition with one value
    std::vector<std::string> between_; // two values, or none
    bool backward_ = false;
    PageOptions options_;
    std::vector<std::pair<CLI::Option*, const char*>> conditions_; // those with one value, and the API's operators
};

} // namespace Ctl

#endif
