#include "tools/requestcommand.h"

#include <cstdio>

namespace Ctl {

namespace {

bool readStandardInput(QByteArray* text)
{
    char piece[65536];
    size_t size = 0;
    while ((size = std::fread(piece, 1, sizeof piece, stdin)) > 0)
        text->append(piece, static_cast<qsizetype>(size));
    return std::ferror(stdin) == 0;
}

bool printLine(const QByteArray& text)
{
    const auto size = static_cast<size_t>(text.size());
    return std::fwrite(text.constData(), 1, size, stdout) == size && std::putchar('\n') != EOF &&
           std::fflush(stdout) == 0;
}

} // namespace

RequestCommand::RequestCommand(CLI::App* app)
{
    app->add_option("OPERATION", operation_, "PutItem and the like, or a full name with its API prefix");
    app->add_option("JSON", body_, "The request's body; - reads it from standard input; {} when there is none");
}

int RequestCommand::run(const ServerAddress& server) const
{
    QByteArray body = QByteArray::fromStdString(body_);
    if (body == "-") {
        body.clear();
        if (!readStandardInput(&body)) {
            complain("cannot read standard input");
            return ExitNoReply;
        }
    }
    QByteArray reply;
    if (!exchange(server, QByteArray::fromStdString(operation_), body, &reply))
        return ExitNoReply;
    if (!printLine(reply)) {
        complain("cannot write standard output");
        return ExitNoReply;
    }
    return isSuccess(reply) ? ExitOk : ExitErrorReply;
}

} // namespace Ctl
