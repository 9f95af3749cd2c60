#ifndef QUORVA_TOOLS_ARGUMENTS_H
#define QUORVA_TOOLS_ARGUMENTS_H

#include <QVariantMap>

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
class Validator;
} // namespace CLI

/** Arguments that several commands share. */
namespace Ctl {

/**
 * Declares the argument TABLE. A name without a "|" is in the directory of QUORVA_DIRECTORY, if that is set; the value
 * is then the whole TableName.
 */
void addTableArgument(CLI::App* command, std::string* table);

/** Declares an argument that is a directory for tables; it is optional when QUORVA_DIRECTORY is set. */
void addDirectoryArgument(CLI::App* command, std::string* directory, const std::string& description,
                          const std::string& name = "DIR");

/** The directory of QUORVA_DIRECTORY; empty when there is none. */
std::string defaultDirectory();

/** Returns ExitOk, or ExitErrorReply after reporting why no table can have this name (see format/tablename.h). */
[[nodiscard]] int checkTableName(const std::string& table);

/** Accepts integers of at least `least`, with a message that says so; `of` names what is counted. */
CLI::Validator wholeNumber(int least, const std::string& of);

/** An option that may be repeated and takes one word each time; by default, CLI11 takes all words that follow. */
CLI::Option* addRepeatedOption(CLI::App* command, const std::string& name, std::vector<std::string>* values,
                               const std::string& description);

/** Declares --attributes A,B,... */
void addAttributesOption(CLI::App* command, std::vector<std::string>* names);
/** Adds the values of --attributes to a request. */
void requestAttributes(const std::vector<std::string>& names, QVariantMap* body);

/** Declares --progress: shows the progress even where it is not shown by default. */
void addProgressOption(CLI::App* command, bool* progress);

/** Declares --limit, the number of records that the server examines for one page. */
void addLimitOption(CLI::App* command, int* limit);

} // namespace Ctl

#endif
