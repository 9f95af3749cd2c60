#ifndef QUORVA_TESTS_CRASH_FAILEDSYNC_H
#define QUORVA_TESTS_CRASH_FAILEDSYNC_H

#include "writebackloss.h"

#include "support/tablefixture.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

/** A server whose disk can fail syncs, and a table on it. */
class FailedSync : public testing::Test {
protected:
    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    }

    /** A server under which syncs of files whose paths contain `name` fail while the disk is broken. */
    ServerProcess::Setup serverWith(const char* name) const
    {
        ServerProcess::Setup setup{.environment = loss_.environment()};
        setup.environment["CRASH_FAIL_FILE"] = trigger_;
        setup.environment["CRASH_FAIL_NAME"] = name;
        return setup;
    }

    void breakDisk()
    {
        std::ofstream(trigger_).flush();
    }
    void mendDisk()
    {
        std::filesystem::remove(trigger_);
    }

    QVariantMap put(ServerProcess* server, const char* range, const QString& text = {})
    {
        QVariantMap item{{"h", textValue("h")}, {"r", textValue(range)}};
        if (!text.isEmpty())
            item.insert("text", textValue(text));
        return server->request("PutItem", merged(table_, {{"Item", item}}));
    }

    /** The log's syncs are those of its files, not parts of its writes. Before the server starts. */
    void configureUnsynchronousLog()
    {
        std::ofstream(home_ + "/DB_CONFIG") << "log_set_config db_log_dsync off\n";
        loss_.settle(home_ + "/DB_CONFIG");
    }

    /** Waits for the first checkpoint: a failed one ends the server. What is put behind it is to be recovered. */
    void createTable(ServerProcess* server)
    {
        ASSERT_EQ(server->request("CreateTable", merged(table_, {{"KeySchema", keySchema()}})).value("__rc"),
                  QVariant(200LL));
        ASSERT_TRUE(server->waitForLog("Done txn_checkpoint"));
    }

    bool has(ServerProcess* server, const char* range)
    {
        return server->request("GetItem", merged(table_, {{"Key", itemKey("h", range)}})).contains("Item");
    }

    static bool isReported(ServerProcess* server)
    {
        const QVariantList environments = server->request("Quorva_1.Status", {}).value("Environments").toList();
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
    const QVariantMap table_{{"TableName", QString::fromStdString(home_) + "|t"}};
};

#endif
