/* Figures of a Status compared with the system, the disk and the clock. */
#include "format/backupnames.h"
#include "format/logfiles.h"
#include "support/heldcopy.h"
#include "support/procfs.h"
#include "support/statusfixture.h"

#include <fstream>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {

/** The port of this end of a connection. */
int ownPort(const Client::WireConnection& connection)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(connection.socketDescriptor(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
}

class StatusFigures : public StatusTest {
protected:
    using StatusTest::StatusTest;

    /** With Berkeley DB's statistics from after this call. */
    QVariantMap freshEnvironment()
    {
        const double asked = now();
        QVariantMap found;
        EXPECT_TRUE(waitUntil([&] {
            found = environment();
            return found.value("EngineTime").toDouble() >= asked;
        }));
        return found;
    }
};

TEST_F(StatusFigures, OfTheProcessAreThoseOfTheSystem)
{
    createTable(tableName());
    for (const char* hash : {"a", "b", "c", "d", "e", "f"}) // each in a file of its own
        put(hash, "1", {});
    const auto descriptors = [&] { return static_cast<qulonglong>(ProcFs::descriptors(server_.pid()).size()); };
    EXPECT_TRUE(waitUntil([&] { return status("Process").value("Descriptors") == descriptors(); }));

    constexpr double Tick = 0.01; // of ProcFs, which leaves out what is less, of user and system time each
    const double before = static_cast<double>(ProcFs::processorTime(server_.pid())) * Tick;
    const double told = status("Process").value("ProcessorSeconds").toDouble();
    const double after = static_cast<double>(ProcFs::processorTime(server_.pid())) * Tick;
    EXPECT_GT(told, 0);
    EXPECT_GE(told, before);
    EXPECT_LE(told, after + 2 * Tick);

    const double resident = std::stod(ProcFs::status(server_.pid(), "VmRSS")) * 1024;
    EXPECT_NEAR(status("Process").value("ResidentBytes").toDouble(), resident, resident / 4);
}

TEST_F(StatusFigures, OfTheLogAreThoseOfItsFiles)
{
    std::ofstream(home() + "/DB_CONFIG") << "set_lg_max 262144\n#quorva remove_unneeded_logs on\n";
    createTable(tableName());
    for (int i = 0; LogFiles::numbersIn(home()).size() < 5 && !HasFailure(); ++i)
        put("k", QString::number(i), {{"v", textValue(QString(30'000, 'v'))}});
    request("DeleteTable", {{"TableName", tableName()}});
    get("k", "0"); // a directory that is opened is rid of the first log files
    ASSERT_TRUE(waitUntil([&] { return *LogFiles::numbersIn(home()).begin() > 1; }));
    std::set<std::uint32_t> numbers;
    QVariantMap log;
    EXPECT_TRUE(waitUntil([&] {
        numbers = LogFiles::numbersIn(home());
        log = freshEnvironment().value("Log").toMap();
        return numbers == LogFiles::numbersIn(home());
    }));
    EXPECT_LT(numbers.size(), *numbers.rbegin());
    EXPECT_EQ(log.value("Files"), QVariant::fromValue(qulonglong{numbers.size()}));
    EXPECT_EQ(log.value("File"), QVariant::fromValue(qlonglong{*numbers.rbegin()}));
    qulonglong bytes = 0;
    struct stat file {};
    for (const std::uint32_t number : numbers) {
        ASSERT_EQ(stat((home() + '/' + LogFiles::name(number)).c_str(), &file), 0);
        bytes += static_cast<qulonglong>(file.st_blocks) * 512;
    }
    EXPECT_EQ(log.value("BytesOnDisk"), bytes);
    EXPECT_GT(log.value("Offset").toLongLong(), 0);
    EXPECT_LE(log.value("Offset").toLongLong(), file.st_size) << "of the last one";
    put("k", "more", {});
    const QVariantMap later = freshEnvironment().value("Log").toMap();
    EXPECT_EQ(later.value("File"), log.value("File"));
    EXPECT_GT(later.value("Offset").toLongLong(), log.value("Offset").toLongLong());
}

TEST_F(StatusFigures, OfTheBackupFollowIt)
{
    createTable(tableName());
    const QString target = QString::fromStdString(makeDirectory("backup"));
    std::ofstream(target.toStdString() + '/' + BackupNames::Marker) << "";
    HeldCopy held(target.toStdString());
    const auto act = [&](const char* what, const QVariant& value) {
        request("UpdateTable", {{"TableName", tableName()}, {"ProvisionedThroughput", QVariantMap{{what, value}}}});
    };
    const double begun = now();
    act("DbBackup", target);
    ASSERT_TRUE(held.waitUntilHeld());
    const QVariantMap copying = environment().value("Backup").toMap();
    EXPECT_EQ(copying.keys(), QStringList({"Since", "State", "Target"})) << "it holds nothing yet";
    EXPECT_EQ(copying.value("State"), "copying");
    EXPECT_EQ(copying.value("Target"), target);
    EXPECT_GE(copying.value("Since").toDouble(), begun);
    EXPECT_LE(copying.value("Since").toDouble(), now());
    act("StopDbBackup", "1");
    EXPECT_EQ(environment().value("Backup").toMap().value("State"), "stopping");
    held.release();
    EXPECT_TRUE(waitUntil([&] { return environment().value("Backup") == QVariantMap{{"State", "none"}}; }));
    (void)takeComplaints();
}

class StatusOfTheSlow : public StatusFigures {
protected:
    StatusOfTheSlow() : StatusFigures({.environment = {{"QUORVA_SLOW_MS", "1"}}}) {}
};

/** The first request for a directory opens it, which takes more than a millisecond. */
TEST_F(StatusOfTheSlow, AreTheLatestSixteenWithTheirTimesAndPeers)
{
    const double before = now();
    Caller caller(server_);
    constexpr int Directories = 20;
    QStringList newestFirst;
    for (int i = 0; i < Directories; ++i) {
        const QString table = tableIn(makeDirectory("d" + std::to_string(i)));
        newestFirst.prepend(table);
        EXPECT_EQ(caller.request("CreateTable", {{"TableName", table}, {"KeySchema", keySchema()}}).value("__rc"),
                  QVariant(200LL));
    }
    const QVariantMap told = status();
    EXPECT_EQ(told.value("SlowRequestCount"), QVariant(qlonglong{Directories}));
    const QVariantList slow = told.value("SlowRequests").toList();
    ASSERT_EQ(slow.size(), 16);
    const QVariantMap row = told.value("Requests").toList().front().toMap();
    EXPECT_EQ(row.value("Operation"), "CreateTable");
    const QVariantList latencies = row.value("Latencies").toList();
    const QVariantList bounds = told.value("LatencyBounds").toList();
    qlonglong quick = 0;
    for (qsizetype i = 0; bounds[i].toLongLong() <= 1000; ++i)
        quick += latencies[i].toLongLong();
    EXPECT_EQ(quick, 0) << "all were slower than a millisecond";
    double latest = now();
    double microseconds = 0;
    for (qsizetype i = 0; i < slow.size(); ++i) {
        const QVariantMap one = slow[i].toMap();
        EXPECT_EQ(one.value("Operation"), "CreateTable");
        EXPECT_EQ(one.value("Table"), newestFirst[i]);
        EXPECT_EQ(one.value("Peer"), "127.0.0.1:" + QString::number(ownPort(caller.connection())));
        EXPECT_GE(one.value("Time").toDouble(), before);
        EXPECT_LE(one.value("Time").toDouble(), latest);
        EXPECT_GT(one.value("Milliseconds").toDouble(), 1);
        latest = one.value("Time").toDouble();
        microseconds += one.value("Milliseconds").toDouble() * 1000;
    }
    EXPECT_GE(row.value("Microseconds").toDouble(), microseconds);
    (void)takeComplaints();
}

} // namespace
