#include "http/consolehandler.h"

#include "http/apierror.h"
#include "http/apiresponses.h"
#include "http/consoleheaders.h"
#include "protocol/operations.h"
#include "json/jsonwriter.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Http {

namespace {

struct ConsoleOperation {
    Operations::Operation operation;
    bool isWrite;
};

/** Exactly the operations that the page uses. */
constexpr std::array Allowed{
    ConsoleOperation{Operations::DescribeTable, false},  ConsoleOperation{Operations::GetItem, false},
    ConsoleOperation{Operations::Query, false},          ConsoleOperation{Operations::Scan, false},
    ConsoleOperation{Operations::Status, false},         ConsoleOperation{Operations::ListTables, false},
    ConsoleOperation{Operations::DescribeBackup, false}, ConsoleOperation{Operations::Commit, true},
    ConsoleOperation{Operations::UpdateTable, true},
};

/** Null for an operation that the console does not have. */
const ConsoleOperation* operationOf(const RequestHead& head)
{
    const std::string_view target = head.header("X-Amz-Target");
    const auto* const found = std::find_if(Allowed.begin(), Allowed.end(),
                                           [&](const auto& allowed) { return allowed.operation.isNamed(target); });
    return found != Allowed.end() ? found : nullptr;
}

std::string_view tokenIn(const RequestHead& head)
{
    constexpr std::string_view Scheme = "Bearer ";
    const std::string_view value = head.header("Authorization");
    return value.starts_with(Scheme) ? value.substr(Scheme.size()) : std::string_view();
}

bool isForSettings(const RequestHead& head)
{
    return head.method != "POST";
}

} // namespace

ConsoleHandler::ConsoleHandler(std::size_t bodyBytes, Gateway* gateway, Crew* crew, const ConsoleToken* token,
                               ConsoleSettings settings)
    : CrewHandler(bodyBytes, crew), gateway_(gateway), token_(token), settings_(std::move(settings))
{}

std::optional<Response> ConsoleHandler::refuse(const RequestHead& head)
{
    std::optional<Response> refusal = refuseUnconfined(head);
    if (refusal)
        confineConsole(&*refusal);
    return refusal;
}

std::optional<Response> ConsoleHandler::refuseUnconfined(const RequestHead& head) const
{
    if (!token_->matches(tokenIn(head)))
        return ApiResponses::error(head, Forbidden, OwnErrorTypes::InvalidToken,
                                   "The console needs the token that quorva-http printed when it started");
    if (isForSettings(head))
        return std::nullopt;
    const ConsoleOperation* const allowed = operationOf(head);
    if (allowed == nullptr)
        return ApiResponses::error(head, BadRequest, OwnErrorTypes::UnknownOperation,
                                   "The console has no such operation");
    if (allowed->isWrite && !settings_.mayWrite)
        return ApiResponses::error(head, Forbidden, OwnErrorTypes::AccessDenied,
                                   "The console is read-only; start quorva-http with --console-write");
    return std::nullopt;
}

Response ConsoleHandler::answer(const RequestHead& head, const QByteArray& body)
{
    Response response = ApiResponses::of(isForSettings(head) ? Answer{Ok, {}, settingsText()}
                                                             : gateway_->answer(operationOf(head)->operation, body));
    confineConsole(&response);
    return response;
}

QByteArray ConsoleHandler::settingsText() const
{
    QVariantList directories;
    for (const std::string& directory : settings_.directories)
        directories.append(QString::fromStdString(directory));
    return Json::serialize(QVariantMap{{QStringLiteral("Server"), QString::fromStdString(settings_.server)},
                                       {QStringLiteral("Directories"), directories},
                                       {QStringLiteral("Write"), settings_.mayWrite}});
}

} // namespace Http
