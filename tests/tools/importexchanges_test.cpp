#include "importfixture.h"

#include "support/scriptedserver.h"

#include <mutex>

namespace {

using testing::HasSubstr;

/** Imports the file "items" of a directory through this server. */
ProgramRun import(const ReplyingServer& server, const TempDir& directory)
{
    return quorvactl(addressed(server.port(), {"import", "d|t", directory.file("items")}));
}

} // namespace

TEST(ImportToAServer, SendsWhatCameBackUnprocessedOneByOne)
{
    const TempDir directory;
    std::ofstream(directory.file("items")) << itemLines(1, 3);
    std::mutex mutex;
    QList<QByteArray> bodies;
    const ReplyingServer server([&](const QByteArray& operation, const QByteArray& body) -> std::optional<QByteArray> {
        if (auto reply = description(operation))
            return reply;
        const std::scoped_lock lock(mutex);
        bodies.append(body);
        const bool handBack = bodies.size() == 1 || body.contains("\"S\":\"2\"");
        return handBack ? QByteArray(R"({"UnprocessedItems":{"d|t":[{}]},"__rc":200,"__rcstr":"OK"})")
                        : QByteArray(OkText);
    });
    const ProgramRun run = import(server, directory);
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: " + directory.file("items") +
                             ":2: the server refused it: it was returned unprocessed\nquorvactl: 1 item of " +
                             directory.file("items") + " was refused, 2 stored in d|t\n");
    const std::scoped_lock lock(mutex);
    ASSERT_EQ(bodies.size(), 4);
    EXPECT_EQ(bodies[0].count("PutRequest"), 3);
    EXPECT_EQ(bodies[3].toStdString(), R"({"RequestItems":{"d|t":[{"PutRequest":{"Item":)" +
                                           itemLine("k", 3).substr(0, itemLine("k", 3).size() - 1) + "}}]}}");
}

TEST(ImportToAServer, ThatGoesAwayReportsTheLinesThatAreDone)
{
    const TempDir directory;
    std::ofstream(directory.file("items")) << itemLines(1, 600);
    int batches = 0;
    const ReplyingServer server([&](const QByteArray& operation, const QByteArray&) -> std::optional<QByteArray> {
        if (auto reply = description(operation))
            return reply;
        return ++batches < 3 ? std::optional<QByteArray>(OkText) : std::nullopt;
    });
    const ProgramRun run = import(server, directory);
    EXPECT_EQ(run.status, NoReply);
    EXPECT_EQ(run.error, Complaints::connectionClosed(server.port()) +
                             "quorvactl: import stopped: no reply came\n  lines 1 to 500 of " +
                             directory.file("items") +
                             " are done: 500 items stored, 0 refused\n  try: the same command with --skip 500, which "
                             "continues with line 501\n");
}

/** When a line repeats a key, the batch before it is sent without that line. */
TEST(ImportToAServer, AResumedImportSendsTheLineThatRepeatsAKey)
{
    const TempDir directory;
    const std::string items = directory.file("items");
    std::ofstream(items) << itemLines(1, 5) << itemLine("k", 3) << itemLines(6, 8);
    int batches = 0;
    const auto resume = [&](const ReplyingServer& server) {
        return quorvactl(addressed(server.port(), {"import", "d|t", items, "--state", directory.file("state")}));
    };
    {
        const ReplyingServer server([&](const QByteArray& operation, const QByteArray&) -> std::optional<QByteArray> {
            if (auto reply = description(operation))
                return reply;
            return ++batches < 2 ? std::optional<QByteArray>(OkText) : std::nullopt;
        });
        const ProgramRun run = resume(server);
        EXPECT_EQ(run.status, NoReply);
        EXPECT_THAT(run.error, HasSubstr("lines 1 to 5 of " + items + " are done: 5 items stored, 0 refused\n"));
    }
    EXPECT_THAT(readFile(directory.file("state")), HasSubstr("\"line\":5,"));
    std::mutex mutex;
    QByteArray body;
    const ReplyingServer server([&](const QByteArray& operation, const QByteArray& sent) -> std::optional<QByteArray> {
        if (auto reply = description(operation))
            return reply;
        const std::scoped_lock lock(mutex);
        body += sent;
        return OkText;
    });
    const ProgramRun run = resume(server);
    EXPECT_EQ(run.status, Ok) << run.error;
    const std::scoped_lock lock(mutex);
    EXPECT_EQ(body.count("PutRequest"), 4);
    EXPECT_EQ(body.count(QByteArray::fromStdString(itemLine("k", 3)).trimmed()), 1);
}
