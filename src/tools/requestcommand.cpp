#include "tools/requestcommand.h"

#include "tools/messages.h"
#include "tools/replies.h"
#include "tools/standardinput.h"

#include <CLI/CLI.hpp>

namespace Ctl {

namespace {

/** Operations begin with a capital letter, or contain the "." of a full name; anything else is a mistyped command. */
bool looksLikeOperation(const std::string& word)
{
    return (word.front() >= 'A' && word.front() <= 'Z') || word.find('.') != std::string::npos;
}

} // namespace

void RequestCommand::Request::declare(CLI::App* app, bool required)
{
    app->add_option("OPERATION", operation, "The operation, such as PutItem, or its full name with the API prefix")
        ->required(required);
    app->add_option("JSON", body, "The request's body; - reads it from standard input; the default is {}");
}

RequestCommand::RequestCommand(CLI::App* app)
    : Command(app, "call", "Send one request as given and print its reply",
              R"(quorvactl call DescribeTable '{"TableName": "build/shop|orders"}')")
{
    bare_.declare(app, false);
    called_.declare(parser(), true);
    app->final_callback([this, app] { checkBareOperation(*app); });
}

/**
 * Throws a CLI::ParseError unless the command line has either a command or a plausible operation. Words that a command
 * does not accept also arrive here, as all commands pass on the remaining words so that the server's address may follow
 * them.
 */
void RequestCommand::checkBareOperation(const CLI::App& app) const
{
    const std::string& operation = bare_.operation;
    const bool hasCommand = !app.get_subcommands().empty();
    if (hasCommand && !operation.empty())
        throw CLI::ExtrasError({operation});
    if (!hasCommand && operation.empty())
        throw CLI::RequiredError("A command or an OPERATION");
    if (!hasCommand && !looksLikeOperation(operation))
        throw CLI::ParseError(
            "unknown command \"" + operation + "\"; operations such as PutItem begin with a capital letter", ExitUsage);
}

int RequestCommand::run(const ServerAddress& server)
{
    const Request& request = Command::chosen() ? called_ : bare_;
    QByteArray body = QByteArray::fromStdString(request.body);
    if (body == "-") {
        body.clear();
        if (!readStandardInput(&body))
            return ExitNoReply;
    }
    QByteArray reply;
    if (!exchange(server, QByteArray::fromStdString(request.operation), body, &reply))
        return ExitNoReply;
    const int printed = printLine(reply);
    if (printed != ExitOk)
        return printed;
    return isSuccess(reply) ? ExitOk : ExitErrorReply;
}

} // namespace Ctl
