#ifndef QUORVA_TOOLS_USAGE_H
#define QUORVA_TOOLS_USAGE_H

#include <string>
#include <vector>

namespace CLI {
class App;
class Error;
} // namespace CLI

namespace Ctl {

/**
 * The message for a command-line error, with the command or option that may have been meant, and the usage of the
 * intended command.
 */
std::string usageError(const CLI::App* app, const CLI::Error& error);

/** Throws a CLI::ParseError for a word of the form "--option=": CLI11 would take the next word as its value. */
void refuseMissingValues(const std::vector<std::string>& words);

} // namespace Ctl

#endif
