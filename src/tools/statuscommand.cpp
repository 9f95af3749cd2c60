#include "tools/statuscommand.h"

#include "protocol/envelope.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "tools/session.h"
#include "tools/statustext.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

namespace Ctl {

StatusCommand::StatusCommand(CLI::App* app)
    : Command(app, "status", "Print the server's state: load, requests, environments", "quorvactl status --json")
{
    parser()->add_flag("--json", json_, "Print the server's reply as JSON");
}

int StatusCommand::run(const ServerAddress& server)
{
    Session session(server);
    QVariantMap reply;
    const int code = session.request(Operations::Status, QByteArray("{}"), &reply);
    if (code == ExitErrorReply)
        complainReply("cannot read the server's status", reply,
                      "a server of the same version as quorvactl; older ones do not know this operation");
    if (code != ExitOk)
        return code;
    if (json_)
        return printLine(Json::serialize(Envelopes::content(reply)));
    return printLine(StatusText::of(server.host + ':' + std::to_string(server.port), Client::ServerStatus::of(reply)));
}

} // namespace Ctl
