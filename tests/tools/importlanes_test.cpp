// Batches that are in flight at the same time.
#include "importfixture.h"

#include "support/scriptedserver.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace {

using testing::AllOf;
using testing::HasSubstr;

/** Hash keys whose items go over different connections. */
constexpr const char* Hashes[] = {"a", "b", "c", "e"};

/**
 * A server with the table d|t that withholds its replies to the batches with one hash key until they are released, and
 * may refuse those with another.
 */
class HoldingServer {
public:
    /** Without a hash key, all are held. */
    explicit HoldingServer(const char* held, const char* refused = nullptr)
        : held_(textOf(held)), refused_(refused != nullptr ? textOf(refused) : "\n")
    {}
    ~HoldingServer() { release(); }
    HoldingServer(const HoldingServer&) = delete;
    HoldingServer& operator=(const HoldingServer&) = delete;

    std::vector<std::string> import(const std::vector<std::string>& words) const
    {
        std::vector<std::string> all{"--port", std::to_string(server_.port()), "import", "d|t"};
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }

    int connections() const { return server_.connections(); }
    int port() const { return server_.port(); }

    /** Waits for that many batches, and returns the bodies of all. */
    QList<QByteArray> waitForBatches(qsizetype count)
    {
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(60), [&] { return bodies_.size() >= count; }));
        return bodies_;
    }

    void release()
    {
        const std::scoped_lock lock(mutex_);
        isHolding_ = false;
        changed_.notify_all();
    }

    /** Releases the one reply that is held. */
    void releaseOne()
    {
        const std::scoped_lock lock(mutex_);
        letGo_ = 1;
        changed_.notify_all();
    }

private:
    std::optional<QByteArray> reply(const QByteArray& operation, const QByteArray& body)
    {
        if (auto text = description(operation))
            return text;
        std::unique_lock lock(mutex_);
        bodies_.append(body);
        changed_.notify_all();
        // All contain an empty text.
        changed_.wait(lock, [&] { return !isHolding_ || !body.contains(held_) || letGo_ > 0; });
        letGo_ = 0;
        return body.contains(refused_) ? QByteArray(R"({"__rc":500,"__rcstr":"Failed"})") : QByteArray(OkText);
    }

    static QByteArray textOf(const char* hash)
    {
        return *hash == '\0' ? QByteArray() : R"("h":{"S":")" + QByteArray(hash) + '"';
    }

    const QByteArray held_;
    const QByteArray refused_;
    int letGo_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
    QList<QByteArray> bodies_;
    bool isHolding_ = true;
    const ReplyingServer server_{
        [this](const QByteArray& operation, const QByteArray& body) { return reply(operation, body); }};
};

long long lineIn(const std::string& state)
{
    QVariant parsed;
    (void)Json::parse(QByteArray::fromStdString(readFile(state)), &parsed);
    return parsed.toMap().value("line", -1LL).toLongLong();
}

} // namespace

TEST(ImportToAServer, SendsBatchesOf250OverSeveralConnectionsConcurrently)
{
    const TempDir directory;
    std::string text;
    for (int n = 1; n <= 300; ++n) {
        for (const char* hash : Hashes)
            text += itemLine(hash, n);
    }
    std::ofstream(directory.file("items")) << text;
    HoldingServer server("");
    RunningProgram program(QUORVACTL_BINARY, server.import({directory.file("items")}));
    QList<QByteArray> bodies = server.waitForBatches(4); // none of them has been answered
    EXPECT_EQ(bodies.size(), 4);
    EXPECT_EQ(server.connections(), 4);
    server.release();
    const ProgramRun run = program.wait();
    EXPECT_EQ(run.status, Ok) << run.error;
    bodies = server.waitForBatches(8);
    ASSERT_EQ(bodies.size(), 8);
    qsizetype largest = 0;
    for (const char* hash : Hashes) {
        QByteArray whole;
        for (const QByteArray& body : bodies) {
            const bool isOfHash = body.contains(QByteArray(R"("h":{"S":")") + hash + '"');
            whole += isOfHash ? body : QByteArray();
            largest = std::max(largest, body.count("PutRequest"));
            EXPECT_EQ(body.count("PutRequest"), body.count(R"("h":{"S":")"));
            EXPECT_TRUE(!isOfHash || body.count("PutRequest") == body.count(QByteArray(R"("h":{"S":")") + hash + '"'));
        }
        EXPECT_EQ(whole.count("PutRequest"), 300) << hash;
    }
    EXPECT_EQ(largest, 250);
}

TEST(ImportToAServer, ItemsWithTheSameKeysWaitForEachOtherAndOthersDoNot)
{
    const TempDir directory;
    Feed feed(directory.file("pipe"));
    HoldingServer server("a");
    RunningProgram program(QUORVACTL_BINARY, server.import({feed.path()}));
    feed.write(itemLine("a", 1));
    (void)server.waitForBatches(1);
    feed.write(itemLine("a", 1) + itemLine("b", 1)); // read at once
    QList<QByteArray> bodies = server.waitForBatches(2);
    ASSERT_EQ(bodies.size(), 2);
    EXPECT_TRUE(bodies[1].contains(R"("h":{"S":"b"})")) << bodies[1].toStdString();
    server.release();
    bodies = server.waitForBatches(3);
    ASSERT_EQ(bodies.size(), 3);
    EXPECT_EQ(bodies[2], bodies[0]);
    feed.end();
    EXPECT_EQ(program.wait().status, Ok);
}

TEST(ImportToAServer, TheStateIsBeforeTheFirstLineThatIsNotDone)
{
    const TempDir directory;
    const std::string state = directory.file("state");
    Feed feed(directory.file("pipe"));
    HoldingServer server("a");
    RunningProgram program(QUORVACTL_BINARY, server.import({feed.path(), "--state", state}));
    feed.write(itemLine("b", 1));
    EXPECT_TRUE(waitUntil([&] { return lineIn(state) == 1; }));
    feed.write(itemLine("a", 2) + itemLine("b", 3));
    (void)server.waitForBatches(3);
    feed.write("x\n" + itemLine("b", 5));
    (void)server.waitForBatches(4); // so the reply to line 3 has been taken
    EXPECT_EQ(lineIn(state), 1);
    server.release();
    EXPECT_TRUE(waitUntil([&] { return lineIn(state) == 5; }));
    EXPECT_EQ(readFile(state),
              "{\"input\":\"" + feed.path() + "\",\"line\":5,\"refused\":1,\"stored\":4,\"table\":\"d|t\"}\n");
    feed.end();
    EXPECT_EQ(program.wait().status, ErrorReply);
}

/** While the disk is full, batches that were sent before it was may still be answered with success. */
TEST(ImportToAServer, OnlyWhatIsStoredLaterShowsThatARefusalIsTheItemsFault)
{
    const TempDir directory;
    const std::string state = directory.file("state");
    Feed feed(directory.file("pipe"));
    HoldingServer server("b", "a"); // refuses a
    RunningProgram program(QUORVACTL_BINARY, server.import({feed.path(), "--state", state}));
    feed.write(itemLine("a", 1) + itemLine("b", 2));
    (void)server.waitForBatches(3); // a once more, alone
    EXPECT_TRUE(waitUntil([&] { return !program.errorText().empty(); }));
    server.releaseOne();
    feed.write(itemLine("b", 3));
    (void)server.waitForBatches(4); // so the reply to line 2 has been taken
    EXPECT_EQ(lineIn(state), 0);
    server.release();
    EXPECT_TRUE(waitUntil([&] { return lineIn(state) == 3; }));
    feed.end();
    EXPECT_EQ(program.wait().status, ErrorReply);
}

TEST(ImportToAServer, AReplyThatDoesNotComeEndsItAfterTheTimeLimit)
{
    const TempDir directory;
    std::ofstream(directory.file("items")) << itemLine("b", 1) + itemLine("a", 2) + itemLine("b", 3);
    HoldingServer server("a");
    std::vector<std::string> words = server.import({directory.file("items")});
    words.insert(words.begin(), {"--timeout", "1"});
    const ProgramRun run = runProgram(QUORVACTL_BINARY, words);
    EXPECT_EQ(run.status, NoReply);
    EXPECT_THAT(run.error, AllOf(HasSubstr("no bytes within 1000 ms"), HasSubstr("import stopped: no reply came\n"
                                                                                 "  line 1 of ")));
}
