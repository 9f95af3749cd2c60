#ifndef QUORVA_TOOLS_UPDATECOMMAND_H
#define QUORVA_TOOLS_UPDATECOMMAND_H

#include "tools/changeoptions.h"
#include "tools/command.h"
#include "tools/itemoptions.h"

#include <string>

namespace Ctl {

/** "update TABLE HASH RANGE": changes attributes of an item, creating it if it does not exist. */
class UpdateCommand : public Command {
public:
    explicit UpdateCommand(CLI::App* app);

    int run(const ServerAddress& server) override;

private:
    int checkOutcome(Session* session, const QVariantMap& updates, const KeyNames& keys) const;
    int printAttributes(QVariantMap attributes, const KeyNames& keys) const;

    std::string table_;
    KeyArguments key_;
    ChangeOptions options_;
    std::string wanted_ = "none";
    ConditionOptions conditions_;
};

} // namespace Ctl

#endif
