#include "tools/arguments.h"

#include "format/tablename.h"
#include "protocol/bodies.h"
#include "tools/exitcode.h"
#include "tools/messages.h"

#include <CLI/CLI.hpp>
#include <QByteArray>

#include <cstdlib>
#include <limits>

namespace Ctl {

void addTableArgument(CLI::App* command, std::string* table)
{
    command
        ->add_option("TABLE", *table, "The table's name: DIRECTORY|TABLE, or TABLE in the directory QUORVA_DIRECTORY")
        ->required()
        ->transform([](const std::string& name) {
            const std::string directory = defaultDirectory();
            return directory.empty() || name.find('|') != std::string::npos ? name : directory + '|' + name;
        });
}

void addDirectoryArgument(CLI::App* command, std::string* directory, const std::string& description,
                          const std::string& name)
{
    command->add_option(name, *directory, description)->required()->envname("QUORVA_DIRECTORY");
}

std::string defaultDirectory()
{
    const char* directory = std::getenv("QUORVA_DIRECTORY");
    return directory == nullptr ? "" : directory;
}

int checkTableName(const std::string& table)
{
    const char* reason = TableNames::refusal(TableNames::filePart(table));
    if (reason == nullptr)
        return ExitOk;
    return fail("no table can be called " + table + ": " + reason);
}

CLI::Validator wholeNumber(int least, const std::string& of)
{
    const std::string message = "must be a whole number of " + of + ", " + std::to_string(least) + " or more";
    return {[=](const std::string& text) {
                const QByteArray digits = QByteArray::fromStdString(text);
                bool ok = false;
                return digits.toLongLong(&ok) >= least && ok ? std::string() : message;
            },
            ""};
}

CLI::Option* addRepeatedOption(CLI::App* command, const std::string& name, std::vector<std::string>* values,
                               const std::string& description)
{
    return command->add_option(name, *values, description)->allow_extra_args(false);
}

void addAttributesOption(CLI::App* command, std::vector<std::string>* names)
{
    addRepeatedOption(command, "--attributes", names, "Print only these attributes and the keys: A,B,...")
        ->delimiter(',');
}

void requestAttributes(const std::vector<std::string>& names, QVariantMap* body)
{
    QStringList list;
    for (const std::string& name : names)
        list.append(QString::fromStdString(name));
    Bodies::addAttributesToGet(list, body);
}

void addProgressOption(CLI::App* command, bool* progress)
{
    command->add_flag("--progress", *progress,
                      "Show the progress on standard error even if it is not a terminal: a line every ten seconds");
}

void addLimitOption(CLI::App* command, int* limit)
{
    command->add_option("--limit", *limit, "Records that the server examines per page")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()))
        ->capture_default_str();
}

} // namespace Ctl
