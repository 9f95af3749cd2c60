#include "tools/createtablecommand.h"

#include "tools/arguments.h"
#include "tools/messages.h"
#include "tools/notation.h"
#include "tools/replies.h"
#include "tools/session.h"

#include <CLI/CLI.hpp>

namespace Ctl {

CreateTableCommand::CreateTableCommand(CLI::App* app)
    : Command(app, "create-table", "Create a table; its directory must exist",
              "quorvactl create-table 'build/shop|orders' customer date")
{
    addTableArgument(parser(), &table_);
    parser()->add_option("HASHNAME", hashName_, "The name of the hash key attribute")->required();
    parser()->add_option("RANGENAME", rangeName_, "The name of the range key attribute")->required();
    parser()->add_flag("--replace", replace_, "Give an existing table these key attributes; its items stay");
}

int CreateTableCommand::run(const ServerAddress& server)
{
    QString hash;
    QString range;
    std::string error = decodeWord(hashName_, "HASHNAME", &hash);
    if (error.empty())
        error = decodeWord(rangeName_, "RANGENAME", &range);
    if (error.empty() && (hash.isEmpty() || range.isEmpty() || hash == range))
        error = "the two key attributes need different names that are not empty";
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
            const KeyNames keys = Bodies::keyNames(reply.value("Table").toMap());
            complain("the table " + table_ + " exists already, with the key attributes \"" + keys.hash.toStdString() +
                         "\" and \"" + keys.range.toStdString() + '"',
                     {"try: --replace, to give it other key attributes; its items stay"});
            return ExitErrorReply;
        }
    }
    const int code = session.request(Operations::CreateTable, Bodies::createTable(table, hash, range), &reply);
    const std::string failed = "cannot create the table " + table_;
    if (code == ExitErrorReply && isNotFound(reply))
        complainDirectory(failed, table_, reply);
    else if (code == ExitErrorReply)
        complainReply(failed, reply);
    return code;
}

} // namespace Ctl
