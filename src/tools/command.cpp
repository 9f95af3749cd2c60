#include "tools/command.h"

#include <CLI/CLI.hpp>

#include <string>

namespace Ctl {

Command::Command(CLI::App* app, const char* name, const char* purpose, const char* example)
    : parser_(app->add_subcommand(name, purpose))
{
    const CLI::App* root = app; // its footer has no example
    while (root->get_parent() != nullptr)
        root = root->get_parent();
    parser_->fallthrough();
    parser_->footer(std::string("Example:\n  ") + example + "\n\n" + root->get_footer());
}

bool Command::chosen() const
{
    return parser_->parsed();
}

} // namespace Ctl
