#ifndef QUORVA_TESTS_SUPPORT_BACKUPFIXTURE_H
#define QUORVA_TESTS_SUPPORT_BACKUPFIXTURE_H

#include "support/backupdirectory.h"
#include "support/directorycontents.h"
#include "support/programrun.h"
#include "support/quorvactl.h"
#include "support/tablefixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

/** A server with a table, and targets for its backups. */
class BackupTest : public QuorvactlTest {
protected:
    explicit BackupTest(ServerProcess::Setup setup = {}) : QuorvactlTest(std::move(setup)) {}

    void SetUp() override
    {
        QuorvactlTest::SetUp();
        createTable(tableName());
        ASSERT_TRUE(server_.waitForLog("Done txn_checkpoint")); // so that it is finished before a backup starts
        (void)takeBackupLines();
    }

    /** The path of a target; nothing is created. */
    std::string pathOf(const std::string& name) const { return server_.directory() + '/' + name; }

    /** A target with the marker in it. */
    std::string markedTarget(const std::string& name) const
    {
        const std::string target = makeDirectory(name);
        makeMarker(target);
        return target;
    }
    static void makeMarker(const std::string& target) { std::ofstream(markerIn(target)).flush(); }

    static bool hasMarker(const std::string& target) { return std::filesystem::exists(markerIn(target)); }
    [[nodiscard]] static bool waitUntilComplete(const std::string& target)
    {
        return waitUntil([&] { return !hasMarker(target); });
    }

    /** An administrative action on the environment of a table. */
    QVariantMap act(const char* action, const QVariant& value = QString()) { return actOn(tableName(), action, value); }
    QVariantMap act(const char* action, const std::string& value)
    {
        return act(action, QVariant(QString::fromStdString(value)));
    }
    QVariantMap actOn(const QString& table, const char* action, const QVariant& value = QString())
    {
        return request("UpdateTable", {{"TableName", table}, {"ProvisionedThroughput", QVariantMap{{action, value}}}});
    }
    QVariantMap actOn(const QString& table, const char* action, const std::string& value)
    {
        return actOn(table, action, QVariant(QString::fromStdString(value)));
    }

    static QVariantMap accepted() { return okReply(onlyActive()); }
    static QVariantMap refused() { return conditionFailedReply(onlyActive()); }

    /** The state of the backup of the table's environment: "copying", "shipping", "stopping" or "none". */
    QVariant backupState()
    {
        const QVariantMap reply = request("Quorva_1.DescribeBackup", {{"TableName", tableName()}});
        return reply.value("Backup").toMap().value("State");
    }

    /** Makes a full backup, which continues with log shipping. */
    void backUpTo(const std::string& target)
    {
        makeMarker(target);
        EXPECT_EQ(act("DbBackup", target), accepted());
        EXPECT_TRUE(waitUntilComplete(target)) << server_.logText();
    }

    /** Ends the log shipping that follows a copy, during which the server may briefly lock the backup's directory. */
    void stopBackup()
    {
        EXPECT_EQ(act("StopDbBackup", true), accepted());
        EXPECT_TRUE(waitUntil([&] { return backupState() == "none"; }));
    }

    /** The lines about backups since the last call. */
    std::vector<std::string> takeBackupLines()
    {
        return takeLines([](const std::string& line) {
            static constexpr const char* parts[] = {"BDBHotBackupThread",        "ackup",     "log_archive listing",
                                                    "thread is already running", "Error in ", "temp file"};
            return std::any_of(std::begin(parts), std::end(parts),
                               [&](const char* part) { return line.find(part) != std::string::npos; });
        });
    }

    /** The same, waiting until a line that contains `last` is among them. */
    std::vector<std::string> takeBackupLinesUntil(const std::string& last)
    {
        std::vector<std::string> lines;
        EXPECT_TRUE(waitUntil([&] {
            for (std::string& line : takeBackupLines())
                lines.push_back(std::move(line));
            return std::any_of(lines.begin(), lines.end(),
                               [&](const std::string& line) { return line.find(last) != std::string::npos; });
        })) << server_.logText();
        return lines;
    }

    /** Writes items with the keys "fill" and a number until the environment has that many log files, of 10 MB each. */
    void fillLogs(int files)
    {
        for (; !std::filesystem::exists(home() + '/' + logName(files)); ++filled_) {
            const QVariantMap reply = put("fill", QString::number(filled_), {{"v", textValue(QString(400'000, 'v'))}});
            ASSERT_EQ(reply.value("__rc"), QVariant(200LL));
        }
    }
    int filled() const { return filled_; }

    /** The name of the only data file, if just one hash key has been used. */
    std::string onlyDataFile() const
    {
        std::vector<std::string> names = namesIn(home());
        std::erase_if(names, [](const std::string& name) { return !name.starts_with("t_"); });
        EXPECT_EQ(names.size(), 1U);
        return names.empty() ? std::string() : names.front();
    }

    /** Reopens the environment, which writes a checkpoint and so determines which log files are no longer needed. */
    void reopen()
    {
        const std::size_t before = checkpoints();
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
        EXPECT_EQ(get("any", "any").value("__rc"), QVariant(200LL));
        ASSERT_TRUE(waitUntil([&] { return checkpoints() > before; })) << server_.logText();
    }

    using Items = std::map<std::pair<QString, QString>, QVariantMap>;

    /** All items of some hash keys, by hash and range key. */
    Items itemsOf(const QString& table, const QStringList& hashes)
    {
        Items items;
        for (const QString& hash : hashes) {
            const QVariantMap reply =
                request("Query", {{"TableName", table}, {"HashKeyValue", textValue(hash)}, {"Limit", 100'000}});
            EXPECT_EQ(reply.value("__rc"), QVariant(200LL)) << testing::PrintToString(reply);
            for (const QVariant& entry : reply.value("Items").toList()) {
                QVariantMap item = entry.toMap();
                (void)item.take("h");
                const QString range = item.take("r").toMap().value("S").toString();
                EXPECT_TRUE(items.emplace(std::pair(hash, range), item).second) << "twice: " << range.toStdString();
            }
        }
        return items;
    }

    /** How many of the items written by fillLogs() exist. */
    int filledIn(const QString& table) { return static_cast<int>(itemsOf(table, {"fill"}).size()); }

    static ProgramRun restore(const std::string& backup, const std::string& target)
    {
        return ::quorvactl(restoreArguments(backup, target));
    }
    /** Restores a copy that has no list of its files. */
    static std::vector<std::string> restoreArguments(const std::string& backup, const std::string& target)
    {
        std::vector<std::string> arguments{"restore", backup, target};
        if (!std::filesystem::exists(listIn(backup)))
            arguments.emplace_back("--without-list");
        return arguments;
    }
    /** Matches the output of a restore that begins with the lines of these tables; the time varies. */
    static testing::Matcher<std::string> restoreOutput(const std::string& tables, const std::string& summary,
                                                       const std::string& target)
    {
        return testing::MatchesRegex(tables + "data until [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} UTC\n" +
                                     "restored " + summary + " to " + target + "\n");
    }
    /** Restores a backup to a new directory next to it. Returns its path. */
    static std::string restored(const std::string& backup, const testing::Matcher<std::string>& error = "")
    {
        const std::string target = backup + ".restored";
        const ProgramRun run = restore(backup, target);
        EXPECT_EQ(run.status, 0) << run.output << run.error;
        EXPECT_THAT(run.error, error);
        return target;
    }

private:
    static QVariantMap onlyActive() { return {{"TableDescription", QVariantMap{{"TableStatus", "ACTIVE"}}}}; }

    std::size_t checkpoints() const
    {
        const std::vector<std::string> lines = server_.logLines();
        return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
            return line.find("Done txn_checkpoint") != std::string::npos;
        }));
    }

    int filled_ = 0;
};

#endif
