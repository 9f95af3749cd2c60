#include "importfixture.h"

#include "support/scriptedserver.h"
#include "terminalrun.h"

#include <algorithm>
#include <atomic>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

class ExportCommand : public ToolTest {
protected:
    /** Lines that an export must reproduce exactly: all kinds of keys, texts, numbers and types. */
    static QList<QByteArray> oddLines()
    {
        QList<QByteArray> lines{
            R"({"h":{"S":""},"r":{"S":""},"v":{"S":"both keys empty"}})",
            R"({"h":{"S":""},"r":{"S":"x"},"v":{"S":"empty hash key"}})",
            R"({"h":{"S":"a"},"r":{"S":""},"v":{"S":"empty range key"}})",
            R"({"h":{"S":"a"},"r":{"S":"only keys"}})",
            R"({"h":{"S":"é"},"r":{"S":"ÿÿ"},"ÿ":{"S":"Latin-1"},"Ж":{"S":"größer ✓ 😀"}})",
            R"({"h":{"S":"c\u0001\u001F\n\t"},"r":{"S":"\"\\/"},"v":{"S":"\u0000a\u0000"}})",
            R"({"":{"S":"no name"},"A":{"N":"1.50"},"B":{"N":"007"},"C":{"N":"-1E+5"},"h":{"S":"n"},"r":{"S":"n"}})",
            R"({"SS":{"SS":["b","a","a",""]},"e":{"SS":[]},"h":{"S":"s"},"ns":{"NS":["2","1.0"]},"r":{"S":"s"}})",
            R"({"b":{"B":"YWI="},"bs":{"BS":["YQ==","Yg=="]},"h":{"S":"b"},"r":{"S":"b"}})",
            R"({"h":{"S":"raw"},"r":{"S":"raw"},"v":[1,1.0,-2.5,1e+30,true,null,"x",{"b":{}}]})",
        };
        for (int i = 0; i < 60; ++i)
            lines.append("{\"h\":{\"S\":\"k" + QByteArray::number(i % 7) + "\"},\"r\":{\"S\":\"" +
                         QByteArray::number(i) + "\"},\"z\":{\"N\":\"" + QByteArray::number(i) + "\"}}");
        lines.append("{\"h\":{\"S\":\"large\"},\"r\":{\"S\":\"\"},\"x\":{\"S\":\"" + QByteArray(500000, 'x') + "\"}}");
        return lines;
    }

    static std::string joined(const QList<QByteArray>& lines) { return (lines.join('\n') + '\n').toStdString(); }

    static QList<QByteArray> sortedLines(const std::string& text)
    {
        QList<QByteArray> lines = QByteArray::fromStdString(text).split('\n');
        EXPECT_EQ(lines.takeLast(), "");
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    /** The files in the server's directory that were not there at first. */
    std::vector<std::string> filesNamed(const std::string& beginning) const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(server_.directory())) {
            if (entry.path().filename().string().starts_with(beginning))
                names.push_back(entry.path().filename().string());
        }
        return names;
    }
};

} // namespace

TEST_F(ExportCommand, WhatIsExportedAndImportedIsTheSameAgain)
{
    QList<QByteArray> lines = oddLines();
    const std::string input = writeFile("input", joined(lines));
    expectOutput({"import", table(), input}, "");
    const std::string first = pathOf("first");
    expectOutput({"export", table(), first}, "");
    std::sort(lines.begin(), lines.end());
    const QList<QByteArray> exported = sortedLines(readFile(first));
    ASSERT_EQ(exported.size(), lines.size());
    for (qsizetype i = 0; i < lines.size(); ++i)
        EXPECT_EQ(exported[i], lines[i]);

    createTable(tableName("copy"));
    expectOutput({"import", table("copy"), first}, "");
    const std::string second = pathOf("second");
    expectOutput({"export", table("copy"), second}, "");
    EXPECT_TRUE(readFile(first) == readFile(second));

    for (const std::string limit : {"1", "2", "7"}) {
        expectOutput({"export", table("copy"), pathOf("paged"), "--limit", limit}, "");
        EXPECT_TRUE(readFile(first) == readFile(pathOf("paged"))) << limit;
    }
    expectOutput({"export", table()}, readFile(first));
    expectOutput({"export", table(), "-"}, readFile(first));
}

TEST_F(ExportCommand, AnEmptyTableIsAnEmptyFile)
{
    expectOutput({"export", table(), pathOf("out")}, "");
    EXPECT_TRUE(fs::exists(pathOf("out")));
    EXPECT_EQ(fs::file_size(pathOf("out")), 0U);
    expectOutput({"import", table(), pathOf("out")}, "");
}

TEST_F(ExportCommand, AFileKeepsWhoMayReadIt)
{
    const std::string file = writeFile("secret", "older");
    std::filesystem::permissions(file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    expectOutput({"export", table(), file}, "");
    EXPECT_EQ(readFile(file), "");
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(ExportCommand, AFileWithoutANameIsAnError)
{
    const ProgramRun run = quorvactl({"export", table(), ""});
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_THAT(run.error, testing::StartsWith("quorvactl: cannot write : "));
}

TEST_F(ExportCommand, AFailedOneLeavesWhatWasThere)
{
    put("k", "r", {{"a", textValue("x")}});
    writeFile("out", "old");
    expectFailure({"export", table("none"), pathOf("out")}, ErrorReply,
                  Complaints::notFound("there is no table " + table("none")));
    expectFailure({"export", table(), pathOf("none/out")}, ErrorReply,
                  "quorvactl: cannot write " + pathOf("none/out") + ": No such file or directory\n");
    expectFailure({"export", table(), "/dev/full"}, ErrorReply,
                  "quorvactl: cannot write /dev/full: No space left on device\n");
    const ProgramRun unprinted = quorvactl({"export", table()}, {.output = "/dev/full"});
    EXPECT_EQ(unprinted.status, NoReply);
    EXPECT_EQ(unprinted.error, "quorvactl: cannot write standard output\n");
    killServer();
    expectFailure({"export", table(), pathOf("out")}, NoReply, Complaints::noServer(server_.port()));
    EXPECT_EQ(readFile(pathOf("out")), "old");
    EXPECT_EQ(filesNamed("out"), std::vector<std::string>{"out"});
}

namespace {

/** One of an endless sequence of pages with one item each. */
QByteArray endlessPage(int page)
{
    const QByteArray key = QByteArray::number(page);
    return R"({"Count":1,"Items":[{"h":{"S":"k"},"r":{"S":")" + key +
           R"("}}],"LastEvaluatedKey":{"HashKeyElement":"k","RangeKeyElement":")" + key +
           R"("},"ScannedCount":1,"__rc":200,"__rcstr":"OK"})";
}

} // namespace

TEST(ExportFromAServer, ThatGoesAwayLeavesNoFile)
{
    const TempDir directory;
    std::atomic<int> page = 0;
    const ReplyingServer server([&](const QByteArray&, const QByteArray&) -> std::optional<QByteArray> {
        if (++page > 20)
            return std::nullopt;
        return endlessPage(page);
    });
    const ProgramRun run = quorvactl(addressed(server.port(), {"export", "d|t", directory.file("out")}));
    EXPECT_EQ(run.status, NoReply);
    EXPECT_EQ(run.error, Complaints::connectionClosed(server.port()));
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(ExportFromAServer, ThatIsInterruptedLeavesNoFile)
{
    const TempDir directory;
    std::atomic<int> page = 0;
    const ReplyingServer server([&](const QByteArray&, const QByteArray&) { return endlessPage(++page); });
    RunningProgram program(QUORVACTL_BINARY, addressed(server.port(), {"export", "d|t", directory.file("out")}));
    EXPECT_TRUE(waitUntil([&] { return page > 20; }));
    program.signal(SIGTERM);
    const ProgramRun run = program.wait();
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_EQ(run.error, "quorvactl: export stopped: interrupted\n");
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST(ExportFromAServer, ShowsItsProgressOnATerminal)
{
    const TempDir directory;
    std::atomic<int> page = 0;
    const ReplyingServer server([&](const QByteArray& operation, const QByteArray&) -> std::optional<QByteArray> {
        if (const auto described = description(operation))
            return described;
        if (++page > 20)
            return std::nullopt;
        if (page <= 10)
            return endlessPage(page);
        page = 20; // the next export gets no pages
        return QByteArray(R"({"Count":0,"Items":[],"ScannedCount":0,"__rc":200,"__rcstr":"OK"})");
    });
    const std::vector<std::string> words = addressed(server.port(), {"export", "d|t", directory.file("out")});
    const ProgramRun run = runOnTerminal(QUORVACTL_BINARY, words);
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, AllOf(testing::StartsWith("\r\033[K["), HasSubstr(" %  1 item  "),
                                 HasSubstr("  100 %  10 items  "), EndsWith("/s\r\n")));

    page = 0;
    const ReplyingServer failing([&](const QByteArray& operation, const QByteArray&) -> std::optional<QByteArray> {
        if (const auto described = description(operation))
            return described;
        return ++page == 1 ? std::optional(endlessPage(1)) : std::nullopt;
    });
    const ProgramRun failed =
        runOnTerminal(QUORVACTL_BINARY, addressed(failing.port(), {"export", "d|t", directory.file("out")}));
    EXPECT_EQ(failed.status, NoReply);
    EXPECT_THAT(failed.error, HasSubstr("\r\033[Kquorvactl: no reply from 127.0.0.1:"));
}

TEST(ExportFromAServer, EstimatesTheTimeThatIsLeftByTheDataFileOfTheKey)
{
    const TempDir directory;
    std::atomic<int> page = 0;
    const ReplyingServer server([&](const QByteArray& operation, const QByteArray&) -> std::optional<QByteArray> {
        if (const auto described = description(operation))
            return described;
        // The items of "k62" are in data file 0x80, in the middle of 256.
        return ++page == 1 ? std::optional(QByteArray(R"({"Count":1,"Items":[{"h":{"S":"k62"},"r":{"S":"1"}}],)"
                                                      R"("ScannedCount":1,"__rc":200,"__rcstr":"OK"})"))
                           : std::nullopt;
    });
    const ProgramRun run =
        runOnTerminal(QUORVACTL_BINARY, addressed(server.port(), {"export", "d|t", directory.file("out")}));
    EXPECT_EQ(run.status, Ok);
    EXPECT_THAT(run.error, HasSubstr("  50 %  1 item  "));
    EXPECT_THAT(run.error, HasSubstr(" left"));
}
