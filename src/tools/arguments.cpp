#include "tools/arguments.h"

#include "format/tablename.h"
#include "protocol/bodies.h"
#include "tools/exitcode.h"
#include "tools/messages.h"

#include <CLI/CLI.hpp>
#include <QByteArray>

#include <limits>

namespace Ctl {

void addTableArgument(CLI::App* command, std::string* table)
{
    command->add_option("TABLE", *table, "The table's name: DIRECTORY|TABLE")->required();
}

int checkTableName(const std::string& table)
{
    const char* reason = TableNames::refusal(TableNames::filePart(table));
    if (reason == nullptr)
        return ExitOk;
    complain("no table can be called " + table + ": " + reason);
    return ExitErrorReply;
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

void addLimitOption(CLI::App* command, int* limit)
{
    command->add_option("--limit", *limit, "Records that the server examines per page")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()))
        ->capture_default_str();
}

} // namespace Ctl
