#include "tools/tablescommand.h"

#include "protocol/envelope.h"
#include "tools/arguments.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "tools/session.h"
#include "tools/terminaltext.h"
#include "tools/textcolumns.h"
#include "tools/units.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

namespace Ctl {

namespace {

using TerminalText::printable;

/** "-" if the table's description cannot be read yet, as it is only in the log of a closed directory. */
std::string keyName(const QVariantMap& table, const char* element)
{
    const QVariantMap keys = table.value("KeySchema").toMap();
    return keys.isEmpty() ? "-" : printable(keys.value(element).toMap().value("AttributeName").toString());
}

/** The tables of a reply to a ListTables. */
QByteArray tablesText(const QVariantMap& reply)
{
    TextColumns columns({{"TABLE"},
                         {"HASH KEY"},
                         {"RANGE KEY"},
                         {"FILES", TextColumns::Align::Right},
                         {"ON DISK", TextColumns::Align::Right}});
    const auto add = [&columns](const QVariantMap& table, const std::string& hash, const std::string& range) {
        columns.add({printable(table.value("TableName").toString()), hash, range,
                     std::to_string(table.value("Files").toLongLong()), Units::bytes(table.value("Bytes").toDouble())});
    };
    for (const QVariant& element : reply.value("Tables").toList()) {
        const QVariantMap table = element.toMap();
        add(table, keyName(table, "HashKeyElement"), keyName(table, "RangeKeyElement"));
    }
    for (const QVariant& element : reply.value("NotCreated").toList())
        add(element.toMap(), "(never created)", "");
    if (columns.isEmpty())
        return "there are no tables in " + QByteArray::fromStdString(printable(reply.value("Directory").toString()));
    QByteArray text;
    for (const std::string& line : columns.lines())
        text += (text.isEmpty() ? "" : "\n") + QByteArray::fromStdString(line);
    return text;
}

} // namespace

TablesCommand::TablesCommand(CLI::App* app)
    : Command(app, "tables", "List the tables in a directory: keys, files, bytes on disk",
              "quorvactl tables build/shop")
{
    addDirectoryArgument(parser(), &directory_, "The directory: the part of a TableName before the |");
    parser()->add_flag("--json", json_, "Print the server's reply as JSON");
}

int TablesCommand::run(const ServerAddress& server)
{
    Session session(server);
    QVariantMap reply;
    const QVariantMap body{{"Directory", QString::fromStdString(directory_)}};
    const int code = session.request(Operations::ListTables, body, &reply);
    if (code == ExitErrorReply)
        complainReply("cannot list the tables in " + directory_, reply,
                      isNotFound(reply) ? "another spelling; a relative DIR begins in the server's working directory"
                                        : "");
    if (code != ExitOk)
        return code;
    if (const int printed = printLine(json_ ? Json::serialize(Envelopes::content(reply)) : tablesText(reply)))
        return printed;
    const long long unreadable = reply.value("Unreadable").toLongLong();
    if (unreadable == 0)
        return ExitOk;
    return fail("the list may be incomplete: the server cannot read " + counted(unreadable, "file") + " in " +
                    directory_,
                {"try: give the server's user access to all files in it"});
}

} // namespace Ctl
