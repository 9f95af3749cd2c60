#include "tools/requestcommand.h"

namespace Ctl {

void RequestCommand::Request::declare(CLI::App* app, bool required)
{
    app->add_option("OPERATION", operation, "PutItem and the like, or a full name with its API prefix")
        ->required(required);
    app->add_option("JSON", body, "The request's body; - reads it from standard input; {} when there is none");
}

RequestCommand::RequestCommand(CLI::App* app)
    : command_(app->add_subcommand("call", "Send one request as it is given and print its reply"))
{
    bare_.declare(app, false);
    called_.declare(command_, true);
    command_->fallthrough();
    addExample(command_, R"(quorvactl call DescribeTable '{"TableName": "build/shop|orders"}')");
}

bool RequestCommand::bareOperationIsPlausible() const
{
    const char first = bare_.operation.empty() ? '\0' : bare_.operation.front();
    return (first >= 'A' && first <= 'Z') || bare_.operation.find('.') != std::string::npos;
}

int RequestCommand::run(const ServerAddress& server) const
{
    const Request& request = called() ? called_ : bare_;
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
