#ifndef QUORVA_TESTS_CRASH_FAILEDSYNC_H
#define QUORVA_TESTS_CRASH_FAILEDSYNC_H

#include "writebackloss.h"

#include "support/tablefixture.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

/** A server whose disk can fail syncs, and a table on it. */
class FailedSync : public testing::Test {
protected:
    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    }

    /** Starts a server under which syncs of files whose paths contain `name` fail while the disk is broken. */
    void start(const char* name, const std::vector<std::string>& arguments = {})
    {
        ServerProcess::Setup setup{.arguments = arguments, .environment = loss_.environment()};
        setup.environment["CRASH_FAIL_FILE"] = trigger_;
        setup.environment["CRASH_FAIL_NAME"] = name;
        server_.emplace(setup);
        ASSERT_TRUE(server_->start());
    }

    /**
     * The same, with a table that has the item "before". Waits for the first checkpoint: a failed one ends the server.
     * What is put behind it is to be recovered.
     */
    void startWithTable(const char* name, const std::vector<std::string>& arguments = {})
    {
        ASSERT_NO_FATAL_FAILURE(start(name, arguments));
        ASSERT_EQ(server_->request("CreateTable", merged(table_, {{"KeySchema", keySchema()}})).value("__rc"),
                  QVariant(200LL));
        ASSERT_TRUE(server_->waitForLog("Done txn_checkpoint"));
        ASSERT_EQ(put("before"), stored());
    }

    void kill()
    {
        server_->kill();
        EXPECT_EQ(server_->waitForExit(), -SIGKILL);
    }

    /** Kills the server and loses the power, and then the next server has these items. */
    void expectAfterLossOfPower(const std::vector<const char*>& ranges)
    {
        kill();
        loss_.loseAll();
        server_.emplace();
        ASSERT_TRUE(server_->start());
        for (const char* range : ranges)
            EXPECT_TRUE(has(range)) << range;
    }

    /** A sync fails, and the next one does not. */
    void failASync(const QString& text = {})
    {
        breakDisk();
        EXPECT_EQ(put("failed", text), internalErrorReply());
        mendDisk();
    }

    void breakDisk()
    {
        std::ofstream(trigger_).flush();
    }
    void mendDisk()
    {
        std::filesystem::remove(trigger_);
    }

    QVariantMap put(const char* range, const QString& text = {})
    {
        QVariantMap item{{"h", textValue("h")}, {"r", textValue(range)}};
        if (!text.isEmpty())
            item.insert("text", textValue(text));
        return server_->request("PutItem", merged(table_, {{"Item", item}}));
    }

    /** The log's syncs are those of its files, not parts of its writes. Before the server starts. */
    void configureUnsynchronousLog()
    {
        std::ofstream(home_ + "/DB_CONFIG") << "log_set_config db_log_dsync off\n";
        loss_.settle(home_ + "/DB_CONFIG");
    }

    bool has(const char* range)
    {
        return server_->request("GetItem", merged(table_, {{"Key", itemKey("h", range)}})).contains("Item");
    }

    bool isReported()
    {
        const QVariantList environments = server_->request("Quorva_1.Status", {}).value("Environments").toList();
        EXPECT_EQ(environments.size(), 1);
        return environments.value(0).toMap().value("SyncFailed").toBool();
    }

    bool isRecorded() const
    {
        return std::filesystem::exists(home_ + "/__dbq.quorva.unsynced");
    }

    static QVariantMap stored()
    {
        return okReply({{"Attributes", QVariantMap()}});
    }

    const TempDir directory_;
    const std::string home_ = directory_.makeDirectory("env");
    const std::string trigger_ = directory_.file("broken");
    const WriteBackLoss loss_{home_, directory_.makeDirectory("durable")};
    std::optional<ServerProcess> server_; // after the files that it has open
    const QVariantMap table_{{"TableName", QString::fromStdString(home_) + "|t"}};
};

#endif
