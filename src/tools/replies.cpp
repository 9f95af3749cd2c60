#include "tools/replies.h"

#include "tools/messages.h"
#include "json/jsonadapter.h"

#include <vector>

namespace Ctl {

namespace {

std::string adviceOn(const QString& type)
{
    if (type == "ResourceNotFoundException")
        return "the spelling, or quorvactl create-table";
    if (type == "InternalServerError")
        return "the server's log, which has the cause";
    if (type == "ValidationException")
        return "keys of Latin-1 characters only";
    return {};
}

} // namespace

bool isSuccess(const QByteArray& reply)
{
    QVariant parsed;
    return Json::parse(reply, &parsed) && isSuccess(parsed.toMap());
}

bool isSuccess(const QVariantMap& reply)
{
    return reply.value(QStringLiteral("__rc")) == 200;
}

QString errorType(const QVariantMap& reply)
{
    return reply.value("__type").toString();
}

bool isNotFound(const QVariantMap& reply)
{
    return errorType(reply) == "ResourceNotFoundException";
}

bool isConditionFailure(const QVariantMap& reply)
{
    return errorType(reply) == "ConditionalCheckFailedException";
}

std::string serverSays(const QVariantMap& reply)
{
    if (errorType(reply).isEmpty())
        return Json::serialize(reply).toStdString();
    return reply.value("__rcstr").toString().toStdString() + ", " + errorType(reply).toStdString() + ": " +
           reply.value("message").toString().toStdString();
}

void complainReply(const std::string& failed, const QVariantMap& reply, const std::string& advice)
{
    std::vector<std::string> details{"the server says: " + serverSays(reply)};
    if (const std::string trial = advice.empty() ? adviceOn(errorType(reply)) : advice; !trial.empty())
        details.push_back("try: " + trial);
    complain(failed, details);
}

} // namespace Ctl
