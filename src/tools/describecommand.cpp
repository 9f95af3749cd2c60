#include "tools/describecommand.h"

#include "tools/arguments.h"
#include "tools/messages.h"
#include "tools/session.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

namespace Ctl {

DescribeCommand::DescribeCommand(CLI::App* app)
    : Command(app, "describe", "Print a table's keys", "quorvactl describe 'build/shop|orders'")
{
    addTableArgument(parser(), &table_);
    parser()->add_flag("--json", json_, "Print the server's full description as JSON");
}

int DescribeCommand::run(const ServerAddress& server)
{
    Session session(server);
    QVariantMap description;
    if (const int code = session.describe(table_, &description))
        return code;
    if (json_)
        return printLine(Json::serialize(description));
    const KeyNames keys = Bodies::keyNames(description);
    return sayLines(
        {"table      " + table_, "hash key   " + keys.hash.toStdString(), "range key  " + keys.range.toStdString()});
}

} // namespace Ctl
