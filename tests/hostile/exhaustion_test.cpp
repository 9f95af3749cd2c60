/*
 * The system has no more of something: nothing that was acknowledged is lost, and when there is more again the server
 * goes on, after a restart where its environment needs one.
 */
#include "protocol/endpoint.h"
#include "protocol/operations.h"
#include "support/procfs.h"
#include "support/programrun.h"
#include "support/serverprocess.h"
#include "support/tablefixture.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

QVariantMap item(int number, int size)
{
    return {{"h", textValue("k" + QString::number(number % 7))},
            {"r", textValue(QString::number(number))},
            {"v", textValue(QString(size, 'v'))}};
}

/** Writes one item after the other. */
class Filling {
public:
    Filling(ServerProcess* server, QString table, int size) : server_(server), table_(std::move(table)), size_(size) {}

    bool createTable()
    {
        return server_->request("CreateTable", {{"TableName", table_}, {"KeySchema", keySchema()}}).value("__rc") ==
               QVariant(200LL);
    }

    /** The next item: true when it was acknowledged. An error is answered, not a closed connection. */
    bool putNext()
    {
        const QVariantMap reply = server_->request("PutItem", {{"TableName", table_}, {"Item", item(tried_, size_)}});
        EXPECT_FALSE(reply.isEmpty());
        const bool done = reply.value("__rc") == QVariant(200LL);
        if (done)
            acknowledged_.push_back(tried_);
        ++tried_;
        return done;
    }

    /** Every acknowledged item is there as it was. */
    void expectAllThere()
    {
        for (const int number : acknowledged_) {
            QVariantMap attributes = item(number, size_);
            const QVariantMap key = itemKey(attributes.take("h").toMap().value("S").toString(),
                                            attributes.take("r").toMap().value("S").toString());
            ASSERT_EQ(server_->request("GetItem", {{"TableName", table_}, {"Key", key}}),
                      okReply({{"Item", attributes}}))
                << number << " of " << acknowledged_.size();
        }
    }

    std::size_t acknowledged() const { return acknowledged_.size(); }

private:
    ServerProcess* server_;
    const QString table_;
    const int size_;
    int tried_ = 0;
    std::vector<int> acknowledged_;
};

/** A disk of its own, in memory, that only processes see which are started through it. */
class SmallDisk {
public:
    explicit SmallDisk(const std::string& options) : point_(directory_.makeDirectory("disk"))
    {
        // The holder keeps the disk; it ends when its standard input does, which is this process's end at the latest.
        holder_ = popen(("exec unshare --user --map-root-user --mount sh -c 'mount -t tmpfs -o " + options +
                         " none \"" + point_ + "\" && echo $$ >\"" + directory_.file("holder") + "\" && exec cat'")
                            .c_str(),
                        "w");
        ready_ = waitUntil([this] { return std::filesystem::exists(directory_.file("holder")) && !holder().empty(); },
                           std::chrono::seconds(10));
    }
    ~SmallDisk()
    {
        if (holder_ != nullptr)
            pclose(holder_);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    /** False where the system lets nobody mount a disk for himself. */
    bool isReady() const { return ready_; }
    const std::string& point() const { return point_; }

    /** Words in front of a program that is to see the disk. */
    std::vector<std::string> wrapper() const
    {
        return {"nsenter", "--preserve-credentials", "--user", "--mount", "--target", holder(), "--wdns=/", "--"};
    }

    void remount(const std::string& options) const
    {
        std::vector<std::string> words = wrapper();
        words.insert(words.end(), {"mount", "-o", "remount," + options, point_});
        const ProgramRun run = runProgram("/usr/bin/env", words);
        EXPECT_EQ(run.status, 0) << run.error;
    }

private:
    std::string holder() const
    {
        const std::string text = ProcFs::read(directory_.file("holder"));
        return text.substr(0, text.find('\n'));
    }

    TempDir directory_;
    const std::string point_;
    FILE* holder_ = nullptr;
    bool ready_ = false;
};

class Exhaustion : public testing::Test {
protected:
    static QString tableOn(const SmallDisk& disk) { return QString::fromStdString(disk.point()) + "|t"; }

    static void restart(ServerProcess* server)
    {
        if (server->isRunning())
            server->kill();
        (void)server->waitForExit(); // ignored: it was killed, or had ended by the failed checkpoint
        ASSERT_TRUE(server->start());
    }
};

TEST_F(Exhaustion, AFullDiskUnderTheEnvironmentLosesNothing)
{
    SmallDisk disk("size=32m");
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    Filling filling(&server, tableOn(disk), 60'000);
    ASSERT_TRUE(filling.createTable());
    while (filling.putNext())
        ASSERT_LT(filling.acknowledged(), 2000U);
    EXPECT_GT(filling.acknowledged(), 20U);
    // While it is full, requests are answered one way or the other.
    for (int i = 0; i < 5; ++i)
        (void)filling.putNext();
    EXPECT_THAT(server.logText(), HasSubstr("No space left on device"));

    disk.remount("size=128m");
    restart(&server);
    filling.expectAllThere();
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(filling.putNext());
    restart(&server);
    filling.expectAllThere();
}

TEST_F(Exhaustion, ACrashOnAFullDiskLosesNothing)
{
    SmallDisk disk("size=24m");
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    Filling filling(&server, tableOn(disk), 30'000);
    ASSERT_TRUE(filling.createTable());
    while (filling.putNext())
        ASSERT_LT(filling.acknowledged(), 2000U);
    restart(&server); // recovery may lack room too, and then nothing is served
    const QVariantMap reply = server.request("DescribeTable", {{"TableName", tableOn(disk)}});
    EXPECT_FALSE(reply.isEmpty());
    disk.remount("size=128m");
    restart(&server);
    filling.expectAllThere();
    EXPECT_TRUE(filling.putNext());
}

TEST_F(Exhaustion, AReadOnlyDiskIsNotFoundUntilItCanBeWrittenAgain)
{
    SmallDisk disk("size=64m");
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    Filling filling(&server, tableOn(disk), 1000);
    ASSERT_TRUE(filling.createTable());
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(filling.putNext());
    EXPECT_EQ(server.request("DeleteTable", {{"TableName", tableOn(disk)}}), okReply());

    disk.remount("ro");
    EXPECT_FALSE(filling.putNext());
    EXPECT_EQ(server.request("GetItem", {{"TableName", tableOn(disk)}, {"Key", itemKey("k0", "0")}}), notFoundReply());
    EXPECT_THAT(server.logText(), HasSubstr("Failed to open env path:"));

    disk.remount("rw");
    filling.expectAllThere();
    EXPECT_TRUE(filling.putNext());
}

TEST_F(Exhaustion, AReadOnlyDiskWithoutAnEnvironmentIsNotFoundAndStopsNothing)
{
    SmallDisk disk("size=64m");
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    const QString served = QString::fromStdString(server.makeDirectory("served")) + "|t";
    Filling other(&server, served, 1000);
    ASSERT_TRUE(other.createTable());
    Filling filling(&server, tableOn(disk), 1000);
    disk.remount("ro");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(server.request("GetItem", {{"TableName", tableOn(disk)}, {"Key", itemKey("k0", "0")}}),
                  notFoundReply());
    EXPECT_THAT(server.logText(),
                HasSubstr("Failed to open env path: " + disk.point() + " id env::" + disk.point() + " rc 30\n"));
    EXPECT_TRUE(other.putNext());
    EXPECT_TRUE(server.isRunning());

    disk.remount("rw");
    ASSERT_TRUE(filling.createTable());
    EXPECT_TRUE(filling.putNext());
    restart(&server);
    filling.expectAllThere();
    other.expectAllThere();
}

TEST_F(Exhaustion, ADiskWithoutRoomForALogStopsNothing)
{
    SmallDisk disk("size=64m,nr_inodes=2"); // its own directory, and one more
    if (!disk.isReady())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerProcess server({.wrapper = disk.wrapper()});
    ASSERT_TRUE(server.start());
    std::vector<std::string> words = disk.wrapper();
    words.insert(words.end(), {"touch", disk.point() + "/last"});
    ASSERT_EQ(runProgram("/usr/bin/env", words).status, 0);
    const QString served = QString::fromStdString(server.makeDirectory("served")) + "|t";
    Filling other(&server, served, 1000);
    ASSERT_TRUE(other.createTable());
    EXPECT_NE(server.request("GetItem", {{"TableName", tableOn(disk)}, {"Key", itemKey("k0", "0")}}).value("__rc"),
              QVariant(200LL));
    ASSERT_TRUE(server.waitForLog("txn_checkpoint failed rc "));
    EXPECT_TRUE(other.putNext());
    EXPECT_TRUE(server.isRunning());
    EXPECT_EQ(server.logText().find("exiting Quorva"), std::string::npos);

    disk.remount("nr_inodes=1000");
    EXPECT_EQ(server.request("DeleteTable", {{"TableName", tableOn(disk)}}), okReply());
    Filling filling(&server, tableOn(disk), 1000);
    ASSERT_TRUE(filling.createTable());
    EXPECT_TRUE(filling.putNext());
    restart(&server);
    filling.expectAllThere();
    other.expectAllThere();
}

TEST_F(Exhaustion, AFullDiskUnderTheServersLogStopsNothing)
{
    ServerProcess server;
    // The log is standard error then, and the test reads the port from the system.
    ASSERT_TRUE(server.launch({"-p0", "-d", "/dev/full"}));
    int port = 0;
    ASSERT_TRUE(waitUntil([&] { return (port = ProcFs::listeningPort(server.pid())) != 0; }));
    Client::WireConnection connection;
    ASSERT_TRUE(connection.open(QString::fromLatin1(Endpoint::Host), port));
    const QString table = QString::fromStdString(server.makeDirectory("env")) + "|t";
    const auto request = [&](const char* operation, const QVariantMap& body) {
        QByteArray text;
        QVariant reply;
        EXPECT_TRUE(connection.exchange(Operations::fullName(operation), Json::serialize(body), &text));
        EXPECT_TRUE(Json::parse(text, &reply));
        return reply.toMap();
    };
    EXPECT_EQ(request("CreateTable", {{"TableName", table}, {"KeySchema", keySchema()}}).value("__rc"),
              QVariant(200LL));
    for (int i = 0; i < 50; ++i) { // each logs two lines
        EXPECT_EQ(request("Nothing", {}), internalErrorReply());
        EXPECT_EQ(request("PutItem", {{"TableName", table}, {"Item", item(i, 10)}}).value("__rc"), QVariant(200LL));
    }
    EXPECT_TRUE(server.isRunning());
}

TEST_F(Exhaustion, WithoutDescriptorsWhatIsOpenGoesOn)
{
    ServerProcess server({.wrapper = {"/bin/sh", "-c", "ulimit -n 160; exec \"$@\"", "sh"}});
    ASSERT_TRUE(server.start());
    const QString table = QString::fromStdString(server.makeDirectory("env")) + "|t";
    Filling filling(&server, table, 100);
    ASSERT_TRUE(filling.createTable());
    for (int i = 0; i < 14; ++i) // opens all its data files
        ASSERT_TRUE(filling.putNext());

    std::vector<Client::WireConnection> crowd;
    for (int i = 0; i < 200; ++i) // more than there are descriptors
        crowd.push_back(server.connect());
    ASSERT_TRUE(server.waitForLog("connection refused, the last descriptors are kept"));
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(filling.putNext()) << "a connection and files that were there before";

    // Further data files: some find room in what is kept for them, then they are refused, each with a reply.
    int refused = 0;
    int opened = 0;
    for (int i = 0; i < 200 && refused < 5; ++i) {
        const QVariantMap other{{"h", textValue("other" + QString::number(i))}, {"r", textValue("r")}};
        const QVariantMap reply = server.request("PutItem", {{"TableName", table}, {"Item", other}});
        ++(reply.value("__rc") == QVariant(200LL) ? opened : refused);
        if (reply.value("__rc") != QVariant(200LL)) {
            EXPECT_EQ(reply, internalErrorReply());
        }
    }
    EXPECT_GT(opened, 10);
    EXPECT_EQ(refused, 5);
    EXPECT_TRUE(filling.putNext());

    crowd.clear(); // and with them room for more
    EXPECT_TRUE(waitUntil([&] {
        const QVariantMap other{{"h", textValue("later")}, {"r", textValue("r")}};
        return server.request("PutItem", {{"TableName", table}, {"Item", other}}).value("__rc") == QVariant(200LL);
    }));
    filling.expectAllThere();
    restart(&server);
    filling.expectAllThere();
}

} // namespace
