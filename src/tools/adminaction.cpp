#include "tools/adminaction.h"

#include "tools/exitcode.h"
#include "tools/replies.h"
#include "tools/session.h"

#include <QVariantMap>

namespace Ctl {

int sendAction(const ServerAddress& server, const std::string& table, const char* action, const std::string& value,
               const std::string& failed)
{
    const QVariantMap body = Bodies::adminAction(QString::fromStdString(table), action, QString::fromStdString(value));
    Session session(server);
    QVariantMap reply;
    const int code = session.request(Operations::UpdateTable, body, &reply);
    if (code != ExitErrorReply)
        return code;
    if (isNotFound(reply))
        complainDirectory(failed, table, reply);
    else
        complainReply(
            failed, reply,
            isConditionFailure(reply)
                ? "quorvactl backup stop, if another backup is running; otherwise the server's log, which has the cause"
                : "");
    return code;
}

} // namespace Ctl
