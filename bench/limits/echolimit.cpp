#include "common/commandline.h"

#include "log/log.h"
#include "net/bdbserver.h"
#include "request/bdbrequest.h"
#include "request/dispatch.h"
#include "json/jsonreader.h"
#include "json/jsontext.h"

#include <QThread>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

namespace {

// The bytes around the filler in a reply, including the length prefix.
constexpr qsizetype Overhead = 4 + std::string_view(R"({"":,"__rc":200,"__rcstr":"OK"})").size();
constexpr qsizetype LargestReply = 16 * 1024 * 1024;

} // namespace

/**
 * Replaces the server's function: answers with as many bytes as the body asks for, a decimal number followed by spaces.
 * They are written without serialization, so that the rate is that of the network layer alone.
 */
bool Requests::run(BDBRequest& request)
{
    QVariant number;
    if (!Json::parse(request.body, &number))
        return false;
    static const QByteArray filler(LargestReply, 'x');
    const auto wanted = static_cast<qsizetype>(std::strtoul(request.body.constData(), nullptr, 10));
    const qsizetype length = std::clamp<qsizetype>(wanted - Overhead, 0, LargestReply);
    const Json::RawText text{QByteArray::fromRawData(filler.constData(), length)};
    request.reply.insert(QString(), QVariant::fromValue(text));
    request.status = StatusSuccess;
    return true;
}

/** All of them are short, like the server's gets and puts. */
Requests::Duration Requests::durationOf(BDBRequest&)
{
    return Duration::Short;
}

QString Requests::operationName(std::size_t)
{
    return {};
}

// Only running out of memory throws; the program ends then. NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv)
{
    int port = 4568;
    int workers = 4 * QThread::idealThreadCount(); // the server's defaults
    int poolMax = 10 * workers;
    Bench::CommandLine line(
        "The server's network layer with nothing behind it: the same framing, threads and hand-over, and "
        "replies of the length that quorva-bench --echo asks for. Runs until standard input ends.");
    line.option("-p,--port", port, "Port on 127.0.0.1");
    line.option("-w", workers, "I/O worker threads");
    line.option("-m", poolMax, "Maximum number of threads in the pool");
    if (int code = 0; !line.parse(argc, argv, &code))
        return code;

    Log::setDestination(stderr);
    BDBServer server(1024, 256, 12341234, 0x100000, workers, poolMax);
    if (server.listen("127.0.0.1", port) != 0) {
        std::perror("echo-limit: listen");
        return 1;
    }
    LOG_INFO << "Server listening on " << server.port();
    while (std::getchar() != EOF) { // the process that started it holds the other end, so it exits in any case
    }
    _exit(0); // without destructors, like the server
}
