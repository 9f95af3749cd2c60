#include "toolfixture.h"

#include "support/scriptedserver.h"
#include "terminalrun.h"

#include <sys/stat.h>

#include <atomic>
#include <mutex>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

std::string line(const std::string& hash, int n)
{
    return "{\"h\":{\"S\":\"" + hash + "\"},\"r\":{\"S\":\"" + std::to_string(n) + "\"},\"n\":{\"N\":\"" +
           std::to_string(n) + "\"}}\n";
}

std::string lines(int first, int last, const std::string& hash = "k")
{
    std::string text;
    for (int n = first; n <= last; ++n)
        text += line(hash, n);
    return text;
}

/** A named pipe that is written bit by bit. */
class Feed {
public:
    explicit Feed(std::string path) : path_(std::move(path))
    {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        descriptor_ = open(path_.c_str(), O_RDWR | O_CLOEXEC); // does not wait for the reader, as O_WRONLY does
        EXPECT_GE(descriptor_, 0);
    }
    ~Feed() { end(); }
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    const std::string& path() const { return path_; }
    void write(const std::string& text) const
    {
        EXPECT_EQ(::write(descriptor_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void end()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
        descriptor_ = -1;
    }

private:
    const std::string path_;
    int descriptor_ = -1;
};

class ImportCommand : public ToolTest {
protected:
    long long count() const
    {
        const ProgramRun run = quorvactl({"scan", table(), "--count"});
        EXPECT_EQ(run.status, Ok) << run.error;
        return run.output.empty() ? -1 : std::stoll(run.output);
    }

    std::string state() const { return pathOf("state"); }

    /** The line that the state file has. */
    long long stateLine() const
    {
        QVariant parsed;
        if (!Json::parse(QByteArray::fromStdString(readFile(state())), &parsed))
            return -1;
        return parsed.toMap().value("line").toLongLong();
    }

    static std::string stopped(const std::string& why, const std::string& input, int line, int stored, int refused,
                               bool hasState)
    {
        const std::string done = line == 0   ? "no line of " + input + " is done: "
                                 : line == 1 ? "line 1 of " + input + " is done: "
                                             : "lines 1 to " + std::to_string(line) + " of " + input + " are done: ";
        return "quorvactl: import stopped: " + why + "\n  " + done + std::to_string(stored) +
               (stored == 1 ? " item" : " items") + " stored, " + std::to_string(refused) +
               " refused\n  try: the same command" +
               (hasState ? std::string() : " with --skip " + std::to_string(line)) + ", which continues with line " +
               std::to_string(line + 1) + '\n';
    }
};

} // namespace

TEST_F(ImportCommand, StoresAFileAndStandardInput)
{
    const std::string file = writeFile("items", lines(1, 60));
    expectOutput({"import", table(), file}, "");
    EXPECT_EQ(count(), 60);
    EXPECT_EQ(get("k", "37").value("Item").toMap(), (QVariantMap{{"n", numberValue("37")}}));

    const std::string more =
        writeFile("more", lines(61, 99) + "\n \r\n" + "{\"h\":{\"S\":\"last\"},\"r\":{\"S\":\"\"}}\r");
    expectOutput({"import", table()}, "", {.input = more});
    EXPECT_EQ(count(), 100);
    expectOutput({"import", table(), "-"}, "", {.input = more});
    EXPECT_EQ(count(), 100);
    expectOutput({"import", table(), "/dev/null"}, "");
}

TEST_F(ImportCommand, OfTwoLinesWithTheSameKeysTheLaterOneStays)
{
    const std::string one = R"({"h":{"S":"k"},"r":{"S":"r"},"v":{"N":)";
    const std::string file =
        writeFile("items", one + "\"1\"}}\n" + lines(1, 3) + one + "\"2\"}}\n" + one + "\"3\"}}\n" + lines(4, 40));
    expectOutput({"import", table(), file}, "");
    EXPECT_EQ(get("k", "r").value("Item").toMap(), (QVariantMap{{"v", numberValue("3")}}));
    EXPECT_EQ(count(), 41);
}

TEST_F(ImportCommand, TellsTheLinesThatItRefusesAndStoresTheOthers)
{
    std::string text = lines(1, 2);
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\"}\n";       // 3
    text += "\n";                                               // 4, no item
    text += "{\"r\":{\"S\":\"x\"}}\n";                          // 5
    text += "{\"h\":{\"S\":\"k\"}}\n";                          // 6
    text += "{\"h\":{\"N\":\"1\"},\"r\":{\"S\":\"x\"}}\n";      // 7
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"\u2713\"}}\n"; // 8
    text += "[\"h\"]\n";                                        // 9
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\xff\"}}\n";  // 10
    text += lines(11, 12);
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\"},\"a\":{\"S\":\"" + std::string(512 * 1024, 'x') + "\"}}\n"; // 13
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\"},\"a\":" + std::string(995, '[') + std::string(995, ']') + "}\n";
    text += std::string(17 * 1024 * 1024, 'x') + '\n';        // 15
    text += "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"x\"}} {}\n"; // 16
    text +=
        "{\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"deep\"},\"a\":" + std::string(994, '[') + std::string(994, ']') + "}\n";
    text += lines(18, 40);
    const std::string file = writeFile("items", text);
    const std::string at = "quorvactl: " + file + ':';
    expectFailure(
        {"import", table(), file}, ErrorReply,
        at + "3: the line is not valid JSON, at character 29: Missing a comma or '}' after an object member\n" + at +
            "5: the hash key \"h\" is missing\n" + at + "6: the range key \"r\" is missing\n" + at +
            "7: the hash key \"h\" is not a string, {\"S\": \"...\"}\n" + at +
            "8: the range key \"r\" has a character outside Latin-1: \"\u2713\"\n" + at +
            "9: the line is not a JSON object, {...}\n" + at +
            "10: the line is not valid JSON, at character 26: A string is not UTF-8, or escapes half of a surrogate "
            "pair\n" +
            at + "13: the item is larger than 512 KiB and could not be read back\n" + at +
            "14: the item is nested too deeply\n" + at + "15: the line is too long for an item\n" + at +
            "16: the line is not valid JSON, at character 31: The document root must not be followed by other values\n"
            "quorvactl: 11 items of " +
            file + " were refused, 28 stored in " + table() + '\n');
    EXPECT_EQ(count(), 28);
    expectFailure({"import", table()}, ErrorReply,
                  "quorvactl: standard input:1: the line is not valid JSON, at character 1: Invalid value\n"
                  "quorvactl: 1 item of standard input was refused, 0 stored in " +
                      table() + '\n',
                  {.input = writeFile("bad", "x")});
}

TEST_F(ImportCommand, RefusesOnlyThoseItemsOfABatchThatTheServerRefuses)
{
    breakHashKey("broken");
    const std::string file =
        writeFile("items", lines(1, 10) + line("broken", 11) + lines(12, 30) + line("broken", 31) + lines(32, 60));
    const std::string refused = ": the server refused it: " + std::string(Complaints::InternalError) + '\n';
    expectFailure({"import", table(), file}, ErrorReply,
                  "quorvactl: " + file + ":11" + refused + "quorvactl: " + file + ":31" + refused +
                      "quorvactl: 2 items of " + file + " were refused, 58 stored in " + table() + '\n');
    EXPECT_EQ(get("k", "10").value("Item").toMap(), (QVariantMap{{"n", numberValue("10")}}));
    EXPECT_EQ(get("k", "12").value("Item").toMap(), (QVariantMap{{"n", numberValue("12")}}));
    expectOutput({"query", table(), "k", "--count"}, "58\n");
}

TEST_F(ImportCommand, StopsWhenTheServerRefusesEverything)
{
    breakHashKey("broken");
    const std::string file = writeFile("items", lines(1, 30) + lines(31, 400, "broken"));
    for (const bool hasState : {false, true}) {
        std::vector<std::string> words{"import", table(), file};
        if (hasState)
            words.insert(words.end(), {"--state", state()});
        const ProgramRun run = quorvactl(words);
        EXPECT_EQ(run.status, ErrorReply);
        EXPECT_THAT(run.error,
                    AllOf(HasSubstr(file + ":31: "), HasSubstr(file + ":130: "), Not(HasSubstr(":131: ")),
                          EndsWith(stopped("the server refused 100 items in a row", file, 25, 25, 0, hasState))));
    }
    EXPECT_EQ(stateLine(), 25);
    expectOutput({"query", table(), "k", "--count"}, "30\n");
}

TEST_F(ImportCommand, ATableThatIsNotThereIsToldAndNothingIsRead)
{
    const std::string file = writeFile("items", "x\n");
    expectFailure({"import", table("none"), file}, ErrorReply,
                  Complaints::notFound("there is no table " + table("none")));
    expectFailure(
        {"import", table(), server_.directory()}, ErrorReply,
        stopped("cannot read " + server_.directory() + ": Is a directory", server_.directory(), 0, 0, 0, false));
    killServer();
    expectFailure({"import", table(), file}, NoReply, Complaints::noServer(server_.port()));
}

TEST_F(ImportCommand, SkipBeginsBehindSoManyLines)
{
    const std::string file = writeFile("items", lines(1, 10));
    expectOutput({"import", table(), file, "--skip", "4"}, "");
    EXPECT_EQ(count(), 6);
    EXPECT_FALSE(get("k", "4").contains("Item"));
    EXPECT_TRUE(get("k", "5").contains("Item"));
    expectOutput({"import", table(), file, "--skip", "10"}, "");
    expectFailure({"import", table(), file, "--skip", "11"}, Usage,
                  "quorvactl: " + file + " has only 10 lines, and 11 were to be skipped\n");
    expectFailure({"import", table(), writeFile("bad", "x\ny\n"), "--skip", "1"}, ErrorReply,
                  "quorvactl: " + pathOf("bad") +
                      ":2: the line is not valid JSON, at character 1: Invalid value\n"
                      "quorvactl: 1 item of " +
                      pathOf("bad") + " was refused, 0 stored in " + table() + '\n');
}

TEST_F(ImportCommand, GoesOnAfterAKill)
{
    const std::string pipe = pathOf("items");
    const std::vector<std::string> words = addressed({"import", table(), pipe, "--state", state()});
    {
        Feed feed(pipe);
        RunningProgram program(QUORVACTL_BINARY, words);
        feed.write(lines(1, 30) + "x\n" + lines(32, 60)); // one line is refused
        EXPECT_TRUE(waitUntil([&] { return stateLine() == 51; }));
        program.signal(SIGKILL);
        EXPECT_EQ(program.wait().status, -SIGKILL);
    }
    EXPECT_EQ(count(), 50);
    fs::remove(pipe);
    // The same input as a file, of which the first lines are not read as items again.
    writeFile("items", [] {
        std::string text;
        for (int n = 1; n <= 51; ++n)
            text += "seen\n";
        return text + lines(52, 80) + "y\n";
    }());
    const ProgramRun resumed = runProgram(QUORVACTL_BINARY, words);
    EXPECT_EQ(resumed.status, ErrorReply);
    EXPECT_EQ(resumed.error, "quorvactl: " + pipe +
                                 ":81: the line is not valid JSON, at character 1: Invalid value\n"
                                 "quorvactl: 2 items of " +
                                 pipe + " were refused, 79 stored in " + table() + '\n');
    EXPECT_EQ(count(), 79);
    EXPECT_FALSE(fs::exists(state()));
}

TEST_F(ImportCommand, GoesOnAfterTheServersEnd)
{
    const std::string pipe = pathOf("items");
    {
        Feed feed(pipe);
        RunningProgram program(QUORVACTL_BINARY, addressed({"import", table(), pipe, "--state", state()}));
        feed.write(lines(1, 30));
        EXPECT_TRUE(waitUntil([&] { return stateLine() == 25; }));
        killServer();
        feed.write(lines(31, 60));
        const ProgramRun run = program.wait();
        EXPECT_EQ(run.status, NoReply);
        EXPECT_THAT(run.error, AllOf(testing::StartsWith("quorvactl: no reply from 127.0.0.1:"),
                                     EndsWith(stopped("no reply came", pipe, 25, 25, 0, true))));
    }
    fs::remove(pipe);
    writeFile("items", lines(1, 60));
    expectFailure({"import", table(), pipe, "--state", state()}, NoReply, Complaints::noServer(server_.port()));
    EXPECT_EQ(stateLine(), 25);
    ASSERT_TRUE(server_.start());
    expectOutput({"import", table(), pipe, "--state", state()}, "");
    EXPECT_EQ(count(), 60);
    EXPECT_FALSE(fs::exists(state()));
}

TEST_F(ImportCommand, AnInterruptionStoresWhatWasReadAndTellsWhereToGoOn)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Feed feed(pathOf("pipe" + std::to_string(signal)));
        fs::remove(state());
        RunningProgram program(QUORVACTL_BINARY, addressed({"import", table(), feed.path(), "--state", state()}));
        feed.write("x\n" + lines(2, 30));
        EXPECT_TRUE(waitUntil([&] { return stateLine() == 26; }));
        program.signal(signal);
        const ProgramRun run = program.wait();
        EXPECT_EQ(run.status, ErrorReply);
        EXPECT_THAT(run.error, EndsWith(stopped("interrupted", feed.path(), 30, 29, 1, true)));
        EXPECT_EQ(stateLine(), 30);
    }
    EXPECT_EQ(count(), 29);
}

TEST_F(ImportCommand, AnInterruptionBehindRefusedLinesGoesOnBehindThem)
{
    Feed feed(pathOf("pipe"));
    RunningProgram program(QUORVACTL_BINARY, addressed({"import", table(), feed.path(), "--state", state()}));
    feed.write(lines(1, 25) + "x\n"); // the batch is full, and nothing follows that would be sent
    EXPECT_TRUE(waitUntil([&] { return stateLine() == 25; }));
    program.signal(SIGINT);
    const ProgramRun run = program.wait();
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_THAT(run.error, EndsWith(stopped("interrupted", feed.path(), 26, 25, 1, true)));
    EXPECT_EQ(stateLine(), 26);
}

TEST_F(ImportCommand, AStateFileOfSomethingElseIsRefused)
{
    const std::string file = writeFile("items", lines(1, 3));
    const std::string advice = "  try: another file for --state, or remove this one to start over\n";
    writeFile("state", "nonsense");
    expectFailure({"import", table(), file, "--state", state()}, Usage,
                  "quorvactl: " + state() + " is not the state of an import\n" + advice);
    writeFile("state", R"({"line":1,"table":"d|t","input":"-","stored":1,"refused":0})");
    expectFailure({"import", table(), file, "--state", state()}, Usage,
                  "quorvactl: " + state() + " belongs to another import, of - into d|t\n" + advice);
    expectFailure({"import", table(), file, "--state", pathOf("none/state")}, ErrorReply,
                  stopped("cannot write " + pathOf("none/state") + ": No such file or directory", file, 0, 0, 0, true));
    EXPECT_EQ(count(), 0);
}

TEST_F(ImportCommand, ShowsItsProgressOnATerminal)
{
    const std::string file = writeFile("items", lines(1, 100));
    const ProgramRun run = runOnTerminal(QUORVACTL_BINARY, addressed({"import", table(), file}));
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, AllOf(testing::StartsWith("\r\033[K[>"), HasSubstr("]    0 %  0 items  0/s"),
                                 HasSubstr("=]  100 %  100 items  "), EndsWith("/s\r\n")));

    // Without a size there is neither share nor remaining time. What is refused has a line of its own.
    const std::string pipe = pathOf("pipe");
    Feed feed(pipe);
    feed.write("x\n" + lines(2, 30, "piped"));
    std::thread ending([&] {
        EXPECT_TRUE(waitUntil([&] { return get("piped", "26").contains("Item"); }));
        feed.end();
    });
    const ProgramRun piped = runOnTerminal(QUORVACTL_BINARY, addressed({"import", table(), pipe, "--skip", "0"}));
    ending.join();
    EXPECT_EQ(piped.status, ErrorReply);
    EXPECT_THAT(piped.error,
                AllOf(testing::StartsWith("\r\033[K0 items  0/s\r\033[Kquorvactl: " + pipe + ":1: "),
                      Not(HasSubstr("%")), HasSubstr("\r\033[K29 items  "),
                      EndsWith("quorvactl: 1 item of " + pipe + " was refused, 29 stored in " + table() + "\r\n")));
}

namespace {

constexpr const char* OkText = R"({"__rc":200,"__rcstr":"OK"})";

/** A description for those who ask, and the number of puts in a batch. */
std::optional<QByteArray> description(const QByteArray& operation)
{
    if (operation != "DynamoDB_20111205.DescribeTable")
        return std::nullopt;
    const QVariantMap table{{"KeySchema", keySchema()}};
    return Json::serialize(okReply({{"Table", table}}));
}

} // namespace

TEST(ImportToAServer, SendsWhatCameBackUnprocessedOneByOne)
{
    const TempDir directory;
    std::ofstream(directory.file("items")) << lines(1, 3);
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
    const ProgramRun run = runProgram(
        QUORVACTL_BINARY, {"--port", std::to_string(server.port()), "import", "d|t", directory.file("items")});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: " + directory.file("items") +
                             ":2: the server refused it: it was returned unprocessed\nquorvactl: 1 item of " +
                             directory.file("items") + " was refused, 2 stored in d|t\n");
    const std::scoped_lock lock(mutex);
    ASSERT_EQ(bodies.size(), 4);
    EXPECT_EQ(bodies[0].count("PutRequest"), 3);
    EXPECT_EQ(bodies[3].toStdString(), R"({"RequestItems":{"d|t":[{"PutRequest":{"Item":)" +
                                           line("k", 3).substr(0, line("k", 3).size() - 1) + "}}]}}");
}

TEST(ImportToAServer, SendsBatchesOf25)
{
    const TempDir directory;
    std::ofstream(directory.file("items")) << lines(1, 60);
    std::mutex mutex;
    QList<qsizetype> sizes;
    const ReplyingServer server([&](const QByteArray& operation, const QByteArray& body) -> std::optional<QByteArray> {
        if (auto reply = description(operation))
            return reply;
        const std::scoped_lock lock(mutex);
        sizes.append(body.count("PutRequest"));
        return OkText;
    });
    const ProgramRun run = runProgram(
        QUORVACTL_BINARY, {"--port", std::to_string(server.port()), "import", "d|t", directory.file("items")});
    EXPECT_EQ(run.status, Ok) << run.error;
    const std::scoped_lock lock(mutex);
    EXPECT_EQ(sizes, (QList<qsizetype>{25, 25, 10}));
}

TEST(ImportToAServer, ThatGoesAwayTellsTheLinesThatAreDone)
{
    const TempDir directory;
    std::ofstream(directory.file("items")) << lines(1, 60);
    int batches = 0;
    const ReplyingServer server([&](const QByteArray& operation, const QByteArray&) -> std::optional<QByteArray> {
        if (auto reply = description(operation))
            return reply;
        return ++batches < 3 ? std::optional<QByteArray>(OkText) : std::nullopt;
    });
    const ProgramRun run = runProgram(
        QUORVACTL_BINARY, {"--port", std::to_string(server.port()), "import", "d|t", directory.file("items")});
    EXPECT_EQ(run.status, NoReply);
    EXPECT_EQ(run.error, Complaints::connectionClosed(server.port()) +
                             "quorvactl: import stopped: no reply came\n  lines 1 to 50 of " + directory.file("items") +
                             " are done: 50 items stored, 0 refused\n  try: the same command with --skip 50, which "
                             "continues with line 51\n");
}

/** The batch in front of a line that repeats a key is sent when that line was read, and does not hold it. */
TEST(ImportToAServer, AResumedImportSendsTheLineThatRepeatsAKey)
{
    const TempDir directory;
    const std::string items = directory.file("items");
    std::ofstream(items) << lines(1, 5) << line("k", 3) << lines(6, 8);
    int batches = 0;
    const auto import = [&](const ReplyingServer& server) {
        return runProgram(QUORVACTL_BINARY, {"--port", std::to_string(server.port()), "import", "d|t", items, "--state",
                                             directory.file("state")});
    };
    {
        const ReplyingServer server([&](const QByteArray& operation, const QByteArray&) -> std::optional<QByteArray> {
            if (auto reply = description(operation))
                return reply;
            return ++batches < 2 ? std::optional<QByteArray>(OkText) : std::nullopt;
        });
        const ProgramRun run = import(server);
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
    const ProgramRun run = import(server);
    EXPECT_EQ(run.status, Ok) << run.error;
    const std::scoped_lock lock(mutex);
    EXPECT_EQ(body.count("PutRequest"), 4);
    EXPECT_EQ(body.count(QByteArray::fromStdString(line("k", 3)).trimmed()), 1);
}

TEST_F(ImportCommand, BinaryThatIsNoBase64IsRefused)
{
    const std::string good = R"({"h":{"S":"k"},"r":{"S":"1"},"b":{"B":"YQ=="},"c":{"B":7},"d":["untyped"]})";
    const std::string bad = R"({"h":{"S":"k"},"r":{"S":"2"},"b":{"B":"YQ"}})";
    const std::string badSet = R"({"h":{"S":"k"},"r":{"S":"3"},"b":{"BS":["YQ==","?"]}})";
    const ProgramRun run =
        quorvactl({"import", table()}, {.input = writeFile("items", good + '\n' + bad + '\n' + badSet + '\n')});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: standard input:2: attribute \"b\": \"YQ\" is not base64\n"
                         "quorvactl: standard input:3: attribute \"b\": \"?\" is not base64\n"
                         "quorvactl: 2 items of standard input were refused, 1 stored in " +
                             table() + "\n");
    EXPECT_EQ(count(), 1);
}

/** Files next to the state file belong to others, the input itself among them. */
TEST_F(ImportCommand, AStateFileTouchesNothingBesides)
{
    const std::string file = writeFile("state.new", lines(1, 30));
    expectOutput({"import", table(), file, "--state", state()}, "");
    EXPECT_EQ(readFile(file), lines(1, 30));
    EXPECT_EQ(count(), 30);
}

TEST_F(ImportCommand, KeysThatCannotBeReadBackAreRefused)
{
    const auto line = [](int range) {
        return R"({"h":{"S":"k"},"r":{"S":")" + std::string(static_cast<std::size_t>(range), 'r') + "\"}}\n";
    };
    const ProgramRun run = quorvactl({"import", table()}, {.input = writeFile("items", line(4091) + line(4092))});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_THAT(run.error, testing::StartsWith("quorvactl: standard input:2: the two keys are longer than 4092"));
    EXPECT_EQ(count(), 1);
}

TEST_F(ImportCommand, AClosedStandardInputIsAnEmptyOne)
{
    const std::string command =
        "exec \"$0\" --port " + std::to_string(server_.port()) + " import '" + table() + "' <&-";
    const ProgramRun run = runProgram("/bin/sh", {"-c", command, QUORVACTL_BINARY});
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_EQ(count(), 0);
}
