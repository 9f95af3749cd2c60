#include "common/commandline.h"

#include <CLI/CLI.hpp>

namespace Bench {

CommandLine::CommandLine(const std::string& description) : app_(std::make_unique<CLI::App>(description)) {}

CommandLine::~CommandLine() = default;

void CommandLine::argument(const std::string& title, std::string& value, const std::string& help)
{
    app_->add_option(title, value, help)->required();
}

void CommandLine::option(const std::string& name, std::string& value, const std::string& help)
{
    app_->add_option(name, value, help)->capture_default_str();
}

void CommandLine::option(const std::string& name, int& value, const std::string& help)
{
    app_->add_option(name, value, help)->capture_default_str();
}

void CommandLine::option(const std::string& name, unsigned& value, const std::string& help)
{
    app_->add_option(name, value, help)->capture_default_str();
}

void CommandLine::option(const std::string& name, double& value, const std::string& help)
{
    app_->add_option(name, value, help)->capture_default_str();
}

void CommandLine::choice(const std::string& name, std::string& value, const std::vector<std::string>& choices,
                         const std::string& help)
{
    app_->add_option(name, value, help)->check(CLI::IsMember(choices))->capture_default_str();
}

void CommandLine::flag(const std::string& name, bool& value, const std::string& help)
{
    app_->add_flag(name, value, help);
}

bool CommandLine::parse(int argc, char** argv, int* exitCode)
{
    try {
        app_->parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        *exitCode = app_->exit(error);
        return false;
    }
    return true;
}

} // namespace Bench
