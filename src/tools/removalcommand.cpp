#include "tools/removalcommand.h"

#include "protocol/administration.h"
#include "tools/arguments.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "tools/session.h"
#include "tools/terminaltext.h"
#include "tools/units.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>

#include <unistd.h>

namespace Ctl {

const RemovalCommand::Kind RemovalCommand::Drop = {"drop-table",
                                                   "Delete a table: its description, its items and their files",
                                                   "quorvactl drop-table 'build/shop|orders'",
                                                   Operations::DropTable,
                                                   "This deletes the table and all items of ",
                                                   "dropped "};

const RemovalCommand::Kind RemovalCommand::Truncate = {"truncate",
                                                       "Delete all items of a table, and their files",
                                                       "quorvactl truncate 'build/shop|orders'",
                                                       Operations::TruncateTable,
                                                       "This deletes all items of ",
                                                       "truncated "};

RemovalCommand::RemovalCommand(CLI::App* app, const Kind& kind)
    : Command(app, kind.name, kind.purpose, kind.example), kind_(kind)
{
    addTableArgument(parser(), &table_);
    parser()->add_flag("--yes", yes_, "Do not ask; without a terminal, nothing is deleted unless this is given");
}

int RemovalCommand::run(const ServerAddress& server)
{
    if (const int code = checkTableName(table_))
        return code;
    if (const int code = confirm())
        return code;
    Session session(server);
    QVariantMap reply;
    const int code = session.request(kind_.operation, Bodies::table(QString::fromStdString(table_)), &reply);
    if (code == ExitErrorReply && isNotFound(reply))
        return session.complainNotFound(table_, reply);
    if (code == ExitErrorReply)
        complainReply(
            std::string("cannot ") + kind_.name + ' ' + table_, reply,
            "the server's log, which has the cause; nothing was deleted, unless it says \"txn commit failed\"");
    if (code != ExitOk)
        return code;
    const QVariantMap removed = reply.value(SpaceNames::Removed).toMap();
    return say(kind_.done + table_ + ": " + counted(removed.value(SpaceNames::Items).toLongLong(), "item") + ", " +
               counted(removed.value(SpaceNames::Files).toLongLong(), "file") + ", " +
               Units::bytes(removed.value(SpaceNames::Bytes).toULongLong()));
}

/** ExitOk if the user confirms. */
int RemovalCommand::confirm() const
{
    if (yes_)
        return ExitOk;
    if (::isatty(STDIN_FILENO) == 0 || ::isatty(STDERR_FILENO) == 0) {
        complain(kind_.name + std::string(" deletes permanently and asks on a terminal only; nothing was deleted"),
                 {"try: --yes, in scripts"});
        return ExitUsage;
    }
    std::fputs((kind_.loss + TerminalText::printable(table_) + ". It cannot be undone. Continue? [y/N] ").c_str(),
               stderr);
    std::string answer;
    std::getline(std::cin, answer);
    if (answer == "y" || answer == "Y" || answer == "yes")
        return ExitOk;
    complain("nothing was deleted");
    return ExitUsage;
}

} // namespace Ctl
