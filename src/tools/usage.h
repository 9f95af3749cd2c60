#ifndef QUORVA_TOOLS_USAGE_H
#define QUORVA_TOOLS_USAGE_H

#include <string>

namespace CLI {
class App;
class Error;
} // namespace CLI

namespace Ctl {

/** What is wrong with the command line, and the usage of the command that was meant. */
std::string usageError(const CLI::App* app, const CLI::Error& error);

/**
 * Throws a CLI::ParseError when a word is "--option=". CLI11 would take the next word for the option's value.
 */
void refuseMissingValues(int argc, const char* const* argv);

} // namespace Ctl

#endif
