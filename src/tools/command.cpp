#include "tools/command.h"

#include "client/wireconnection.h"
#include "format/tablename.h"
#include "protocol/envelope.h"
#include "protocol/operations.h"
#include "tools/progressbar.h"
#include "json/jsonadapter.h"

#include <cstdio>

namespace Ctl {

namespace {

std::string adviceOn(const QString& type)
{
    if (type == ErrorTypes::ResourceNotFound)
        return "the spelling, or quorvactl create-table";
    if (type == ErrorTypes::InternalServerError)
        return "the server's log, which tells the cause";
    if (type == ErrorTypes::Validation)
        return "keys of Latin-1 characters only";
    return {};
}

} // namespace

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

void addExample(CLI::App* command, const std::string& example)
{
    command->footer("Example:\n  " + example + "\n\n" + command->get_footer());
}

bool connect(const ServerAddress& server, Client::WireConnection* connection)
{
    connection->setConnectTimeout(server.timeout * 1000);
    connection->setReceiveTimeout(server.timeout * 1000);
    return connection->open(QString::fromStdString(server.host), server.port);
}

bool exchange(const ServerAddress& server, const QByteArray& operation, const QByteArray& body, QByteArray* reply)
{
    Client::WireConnection connection;
    if (connect(server, &connection) && connection.exchange(Operations::fullName(operation), body, reply))
        return true;
    complainNoReply(server, connection);
    return false;
}

bool isSuccess(const QByteArray& reply)
{
    QVariant parsed;
    return Json::parse(reply, &parsed) && Envelopes::isSuccess(parsed.toMap());
}

void complainNoReply(const ServerAddress& server, const Client::WireConnection& connection)
{
    const std::string error = connection.error().toStdString();
    std::vector<std::string> details;
    if (error.starts_with("connect:") || error.starts_with("no connection within"))
        details.emplace_back("try: start the server, or name another one with --host and --port");
    else if (error.ends_with(" ms"))
        details.emplace_back("try: a longer --timeout; if the request was a change, it may be made all the same");
    else if (error == "the server closed the connection")
        details.emplace_back("try: the server's log; it closes a connection on a request that is no JSON");
    complain("no reply from " + server.host + ':' + std::to_string(server.port) + ": " + error, details);
}

void complainReply(const std::string& failed, const QVariantMap& reply, const std::string& advice)
{
    std::vector<std::string> details{"the server says: " + serverSays(reply)};
    if (const std::string trial = advice.empty() ? adviceOn(Envelopes::errorType(reply)) : advice; !trial.empty())
        details.push_back("try: " + trial);
    complain(failed, details);
}

std::string serverSays(const QVariantMap& reply)
{
    const QString type = Envelopes::errorType(reply);
    if (type.isEmpty())
        return Json::serialize(reply).toStdString();
    return (Envelopes::outcome(reply) + ", " + type + ": " + Envelopes::message(reply)).toStdString();
}

bool isNotFound(const QVariantMap& reply)
{
    return Envelopes::errorType(reply) == ErrorTypes::ResourceNotFound;
}

void complain(const std::string& message, const std::vector<std::string>& details)
{
    std::string text = "quorvactl: " + message + '\n';
    for (const std::string& detail : details)
        text += "  " + detail + '\n';
    ProgressBar::clearShown();
    std::fputs(text.c_str(), stderr);
}

std::string counted(long long number, const std::string& noun)
{
    return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

int printLine(const QByteArray& text)
{
    const auto size = static_cast<size_t>(text.size());
    if (std::fwrite(text.constData(), 1, size, stdout) == size && std::putchar('\n') != EOF && std::fflush(stdout) == 0)
        return ExitOk;
    complain("cannot write standard output");
    return ExitNoReply;
}

bool readStandardInput(QByteArray* text)
{
    char piece[65536];
    size_t size = 0;
    while ((size = std::fread(piece, 1, sizeof piece, stdin)) > 0)
        text->append(piece, static_cast<qsizetype>(size));
    if (std::ferror(stdin) == 0)
        return true;
    complain("cannot read standard input");
    return false;
}

} // namespace Ctl
