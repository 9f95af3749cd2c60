#include "readcommandfixture.h"

#include "tools/complaints.h"

#include <algorithm>

namespace {

using testing::HasSubstr;

class ScanCommand : public ReadCommandTest {
protected:
    /** The hash and range keys of the items, in order. */
    QStringList keysOf(const ProgramRun& run) const
    {
        const QStringList hashes = keysIn(run, "h");
        const QStringList ranges = keysIn(run, "r");
        QStringList keys;
        for (qsizetype i = 0; i < hashes.size(); ++i)
            keys.append(hashes[i] + '/' + ranges[i]);
        keys.sort();
        return keys;
    }

    void putAll(const QStringList& keys)
    {
        for (const QString& key : keys) {
            const QVariantMap reply =
                put(key.section('/', 0, 0), key.section('/', 1), {{"a", textValue("x")}, {"b", numberValue("7")}});
            EXPECT_EQ(reply.value("__rc"), QVariant(200LL));
        }
    }

    ProgramRun scan(std::vector<std::string> arguments, const ProgramFiles& files = {}) const
    {
        arguments.insert(arguments.begin(), {"scan", tableName().toStdString()});
        return quorvactl(arguments, files);
    }

    /** In order, as returned by keysOf(). Includes empty keys and keys outside ASCII. */
    static QStringList someKeys()
    {
        QStringList keys{"/", "/1", "/2", "a/", "a/a", "b/", "ab/c", QString(QChar(0xe9)) + "/" + QChar(0xff)};
        for (int i = 0; i < 20; ++i)
            keys.append(QString("k%1/%2").arg(i % 7).arg(i));
        keys.sort();
        return keys;
    }
};

} // namespace

TEST_F(ScanCommand, PrintsEveryItemOnceWhateverTheSizeOfThePages)
{
    const QStringList keys = someKeys();
    putAll(keys);
    for (const std::string limit : {"1", "2", "3", "7", "128"}) {
        EXPECT_EQ(keysOf(scan({"--limit", limit})), keys) << limit;
        EXPECT_EQ(scan({"--limit", limit, "--count"}).output, std::to_string(keys.size()) + '\n') << limit;
        EXPECT_EQ(keysOf(scan({"--limit", limit, "--max", "5"})).size(), 5) << limit;
        EXPECT_EQ(keysOf(scan({"--limit", limit, "--max", "1000"})), keys) << limit;
    }
    EXPECT_EQ(scan({"--max", "0"}).output, "");
}

// These share one table.
TEST_F(ScanCommand, PrintsOneItemALineAsJsonAndNothingOfAnEmptyTable)
{
    const ProgramRun empty = scan({});
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.output, "");
    EXPECT_EQ(scan({"--count"}).output, "0\n");

    putAll({"k/r"});
    const ProgramRun run = scan({});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "{\"a\":{\"S\":\"x\"},\"b\":{\"N\":\"7\"},\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"}}\n");
    EXPECT_EQ(run.error, "");
    EXPECT_EQ(scan({"--attributes", "b"}).output, "{\"b\":{\"N\":\"7\"},\"h\":{\"S\":\"k\"},\"r\":{\"S\":\"r\"}}\n");
    EXPECT_EQ(scan({"--attributes", "b,a"}).output, run.output);

    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{{}, {"--count"}}) {
        const ProgramRun unprinted = scan(words, {.output = "/dev/full"});
        EXPECT_EQ(unprinted.status, 2);
        EXPECT_EQ(unprinted.error, "quorvactl: cannot write standard output\n");
    }

    const ProgramRun addressed = runProgram(
        QUORVACTL_BINARY, {"scan", tableName().toStdString(), "--port", std::to_string(server_.port()), "--count"});
    EXPECT_EQ(addressed.status, 0) << addressed.error;
    EXPECT_EQ(addressed.output, "1\n");
}

TEST_F(ScanCommand, PrintsEachItemOnceWhileOthersComeAndGo)
{
    const QStringList keys = someKeys();
    putAll(keys);
    const Churn churn(server_, tableName(),
                      [](int i) { return std::pair("k" + QString::number(i % 7), "c" + QString::number(i)); });
    for (const std::string limit : {"1", "2", "3"}) {
        QStringList seen = keysOf(scan({"--limit", limit}));
        EXPECT_EQ(QSet<QString>(seen.begin(), seen.end()).size(), seen.size()) << "some came twice";
        seen.removeIf([&](const QString& key) { return !keys.contains(key); });
        EXPECT_EQ(seen, keys) << limit;
    }
}

TEST_F(ScanCommand, AnErrorReplyIsReportedAndExitsWithOne)
{
    const ProgramRun unknown = quorvactl({"scan", tableName("none").toStdString()});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.output, "");
    EXPECT_EQ(unknown.error, Complaints::notFound("there is no table " + tableName("none").toStdString()));
    const ProgramRun nowhere = quorvactl({"scan", "/nowhere|t"});
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_EQ(nowhere.output, "");
    EXPECT_EQ(nowhere.error, Complaints::noDirectory("cannot find the table /nowhere|t", "/nowhere"));
}

TEST_F(ScanCommand, AServerThatIsGoneExitsWithTwo)
{
    killServer();
    const ProgramRun run = scan({});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, Complaints::noServer(server_.port()));
}

TEST_F(ScanCommand, WrongCommandLineIsAUsageError)
{
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"scan"},
                                               {"scan", "a|t", "more"},
                                               {"scan", "a|t", "--limit", "0"},
                                               {"scan", "a|t", "--max", "-1"},
                                               {"scan", "a|t", "--max", "1", "--count"},
                                               {"scan", "a|t", "--backward"},
                                               {"scan", "a|t", "--attributes"}}) {
        const ProgramRun run = quorvactl(words);
        EXPECT_EQ(run.status, 64) << testing::PrintToString(words);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error, HasSubstr("Run with --help for more information."));
    }
}
