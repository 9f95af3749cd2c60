#include "tools/tablecommands.h"

#include "format/tablename.h"
#include "tools/notation.h"
#include "tools/session.h"
#include "json/jsonadapter.h"

namespace Ctl {

namespace {

std::string directoryOf(const std::string& table)
{
    return std::string(TableNames::directory(table));
}

} // namespace

CreateTableCommand::CreateTableCommand(CLI::App* app)
    : command_(app->add_subcommand("create-table", "Make a table; its directory has to exist"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    command_->add_option("HASHNAME", hashName_, "The name of the hash key attribute")->required();
    command_->add_option("RANGENAME", rangeName_, "The name of the range key attribute")->required();
    command_->add_flag("--replace", replace_, "Of a table that exists: give it these key attributes; its items stay");
    addExample(command_, "quorvactl create-table 'build/shop|orders' customer date");
}

int CreateTableCommand::run(const ServerAddress& server) const
{
    QString hash;
    QString range;
    std::string error = decodeWord(hashName_, "HASHNAME", &hash);
    if (error.empty())
        error = decodeWord(rangeName_, "RANGENAME", &range);
    if (error.empty() && (hash.isEmpty() || range.isEmpty() || hash == range))
        error = "the two key attributes need different names";
    if (!error.empty()) {
        complain(error);
        return ExitUsage;
    }
    if (const int code = checkTableName(table_))
        return code;
    Session session(server);
    const QString table = QString::fromStdString(table_);
    QVariantMap reply;
    if (!replace_) {
        const int code = session.request(Operations::DescribeTable, Bodies::table(table), &reply);
        if (code == ExitNoReply)
            return code;
        if (code == ExitOk) {
            const TableKeys keys = Bodies::keyNames(reply.value("Table").toMap());
            complain("there is a table " + table_ + " already, with the keys \"" + keys.hash.toStdString() +
                         "\" and \"" + keys.range.toStdString() + '"',
                     {"try: --replace, if it is to have other key attributes; its items stay"});
            return ExitErrorReply;
        }
    }
    const int code = session.request(Operations::CreateTable, Bodies::createTable(table, hash, range), &reply);
    const std::string failed = "cannot make the table " + table_;
    if (code == ExitErrorReply && isNotFound(reply))
        complainDirectory(failed, table_, reply);
    else if (code == ExitErrorReply)
        complainReply(failed, reply);
    return code;
}

DescribeCommand::DescribeCommand(CLI::App* app) : command_(app->add_subcommand("describe", "Print a table's keys"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    command_->add_flag("--json", json_, "Print the server's whole description as JSON");
    addExample(command_, "quorvactl describe 'build/shop|orders'");
}

int DescribeCommand::run(const ServerAddress& server) const
{
    Session session(server);
    QVariantMap description;
    if (const int code = session.describe(table_, &description))
        return code;
    if (json_)
        return printLine(Json::serialize(description));
    const TableKeys keys = Bodies::keyNames(description);
    return printLine("table      " + QByteArray::fromStdString(table_) + "\nhash key   " + keys.hash.toUtf8() +
                     "\nrange key  " + keys.range.toUtf8());
}

DeleteTableCommand::DeleteTableCommand(CLI::App* app)
    : command_(app->add_subcommand("delete-table", "Close the environment that a table is in; no file is deleted"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    addExample(command_, "quorvactl delete-table 'build/shop|orders'");
}

int DeleteTableCommand::run(const ServerAddress& server) const
{
    Session session(server);
    QVariantMap reply;
    const int code = session.request(Operations::DeleteTable, Bodies::table(QString::fromStdString(table_)), &reply);
    if (code == ExitErrorReply)
        complainReply("cannot close " + directoryOf(table_), reply);
    if (code != ExitOk)
        return code;
    return printLine("closed " + QByteArray::fromStdString(directoryOf(table_)) + "; its files are still there");
}

} // namespace Ctl
