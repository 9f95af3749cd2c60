#ifndef QUORVA_TOOLS_TABLECOMMANDS_H
#define QUORVA_TOOLS_TABLECOMMANDS_H

#include "tools/command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

/** "create-table TABLE HASHNAME RANGENAME": makes a table with these key attributes. */
class CreateTableCommand {
public:
    explicit CreateTableCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
    std::string hashName_;
    std::string rangeName_;
    bool replace_ = false;
};

/** "describe TABLE": prints what the server knows of a table. */
class DescribeCommand {
public:
    explicit DescribeCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
    bool json_ = false;
};

/** "delete-table TABLE": closes the table's environment; the files stay. */
class DeleteTableCommand {
public:
    explicit DeleteTableCommand(CLI::App* app);

    bool chosen() const { return command_->parsed(); }
    int run(const ServerAddress& server) const;

private:
    CLI::App* const command_; // owned by the application
    std::string table_;
};

} // namespace Ctl

#endif
