#include "tools/backupstate.h"

#include "tools/exitcode.h"
#include "tools/replies.h"
#include "tools/session.h"

#include <QVariantMap>

#include <filesystem>
#include <system_error>

namespace Ctl {

bool BackupState::isTo(const std::string& directory) const
{
    std::error_code error;
    return target == directory || std::filesystem::equivalent(target, directory, error);
}

int askState(Session* session, const std::string& table, const std::string& failed, BackupState* state)
{
    QVariantMap reply;
    const int code = session->request(Operations::DescribeBackup, Bodies::table(QString::fromStdString(table)), &reply);
    if (code == ExitErrorReply && isNotFound(reply))
        complainDirectory(failed, table, reply);
    else if (code == ExitErrorReply)
        complainReply(failed, reply);
    const QVariantMap backup = reply.value("Backup").toMap();
    *state = {backup.value("State").toString(), backup.value("Target").toString().toStdString()};
    return code;
}

} // namespace Ctl
