/* QUORVA_SLOW_MS, with the real server and a disk that stalls. */
#include "support/helddisk.h"
#include "support/pendingrequest.h"
#include "support/statusfixture.h"

#include <gmock/gmock.h>

#include <chrono>

namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

class SlowServer : private WithHeldDisk, public StatusTest {
protected:
    explicit SlowServer(const std::string& threshold = "50")
        : StatusTest({.environment = merged(disk_.environment(QUORVA_HELDDISK_LIBRARY), threshold)})
    {}

    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
        StatusTest::SetUp();
        disk_.prepare(home());
    }

    static std::map<std::string, std::string> merged(std::map<std::string, std::string> environment,
                                                     const std::string& threshold)
    {
        environment["QUORVA_SLOW_MS"] = threshold;
        return environment;
    }

    /** A put whose disk is held for 60 ms at least. The first one with a hash key creates a file. */
    void putSlowly(const QString& hash, const QString& range)
    {
        disk_.hold(home());
        const QVariantMap item{{"h", textValue(hash)}, {"r", textValue(range)}};
        PendingRequest put(server_, "PutItem", {{"TableName", tableName()}, {"Item", item}});
        ASSERT_TRUE(disk_.holds());
        const auto end = std::chrono::steady_clock::now() + 60ms;
        while (std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        disk_.release();
        EXPECT_EQ(put.reply().value("__rc"), QVariant(200LL));
    }

    static std::vector<QVariantMap> slowRequestsFor(const QVariantMap& status, const QString& keys)
    {
        std::vector<QVariantMap> found;
        for (const QVariant& entry : status.value("SlowRequests").toList()) {
            if (entry.toMap().value("Keys") == keys)
                found.push_back(entry.toMap());
        }
        return found;
    }

    std::vector<std::string> slowLines(const std::string& part)
    {
        return takeLines([&](const std::string& line) {
            return line.starts_with("[WARN] slow request ") && line.find(part) != std::string::npos;
        });
    }
};

TEST_F(SlowServer, ReportsWaitingForTheFlush)
{
    EXPECT_EQ(status("Server").value("Options").toMap().value("SlowMilliseconds"), QVariant(50LL));
    createTable(tableName());
    const qulonglong before = status().value("SlowRequestCount").toULongLong();
    EXPECT_EQ(put("new\nline", "0", {}).value("__rc"), QVariant(200LL)); // which creates the file
    putSlowly("new\nline", "1");
    const QVariantMap told = status();
    EXPECT_GE(told.value("SlowRequestCount").toULongLong(), before + 1);
    const std::vector<QVariantMap> found = slowRequestsFor(told, R"("new\u000aline" "1")");
    ASSERT_EQ(found.size(), 1U) << testing::PrintToString(told);
    const QVariantMap& slow = found.front();
    EXPECT_EQ(slow.keys(),
              QStringList({"DiskMilliseconds", "FlushMilliseconds", "Items", "Keys", "LockMilliseconds", "Milliseconds",
                           "Operation", "Outcome", "Peer", "QueueMilliseconds", "Retries", "Table", "Time"}));
    EXPECT_EQ(slow.value("Operation"), "PutItem");
    EXPECT_EQ(slow.value("Outcome"), "Success");
    EXPECT_EQ(slow.value("Table"), tableName());
    EXPECT_EQ(slow.value("Items"), QVariant(1LL));
    EXPECT_EQ(slow.value("Retries"), QVariant(0LL));
    EXPECT_GE(slow.value("FlushMilliseconds").toDouble(), 60);
    EXPECT_GE(slow.value("Milliseconds").toDouble(), slow.value("FlushMilliseconds").toDouble());
    EXPECT_GT(slow.value("Time").toDouble(), told.value("Server").toMap().value("StartTime").toDouble());
    EXPECT_THAT(slowLines("new"),
                Contains(MatchesRegex(R"(\[WARN\] slow request PutItem table "[^"]+\|t" keys "new\\u000aline" "1" )"
                                      R"(Success: [0-9.]+ ms, queued [0-9.]+, locks [0-9.]+, disk [0-9.]+, )"
                                      R"(flush [0-9.]+, items 1, retries 0, peer 127\.0\.0\.1:[0-9]+)")));
}

TEST_F(SlowServer, ReportsWaitingForAFileToBeCreated)
{
    createTable(tableName());
    putSlowly("h", "1");
    const std::vector<QVariantMap> found = slowRequestsFor(status(), R"("h" "1")");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_GE(found.front().value("DiskMilliseconds").toDouble(), 60);
    const auto part = [&](const char* name) { return found.front().value(name).toDouble(); };
    EXPECT_GE(part("Milliseconds"), part("QueueMilliseconds") + part("LockMilliseconds") + part("DiskMilliseconds") +
                                        part("FlushMilliseconds"));
}

class NoThreshold : public SlowServer, public testing::WithParamInterface<const char*> {
protected:
    NoThreshold() : SlowServer(GetParam()) {}
};

TEST_P(NoThreshold, ReportsNothing)
{
    createTable(tableName());
    putSlowly("h", "1");
    const QVariantMap told = status();
    EXPECT_EQ(told.value("SlowRequests"), QVariantList());
    EXPECT_EQ(told.value("SlowRequestCount"), QVariant(0LL));
    EXPECT_EQ(told.value("Server").toMap().value("Options").toMap().value("SlowMilliseconds"), QVariant(0LL));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Thresholds, NoThreshold, testing::Values("", "0"));

class InvalidThreshold : public StatusTest, public testing::WithParamInterface<const char*> {
protected:
    InvalidThreshold() : StatusTest({.environment = {{"QUORVA_SLOW_MS", GetParam()}}}) {}
};

TEST_P(InvalidThreshold, IsOneLineAtTheStartAndNone)
{
    EXPECT_THAT(takeComplaints(),
                ElementsAre(std::string("[WARN] invalid QUORVA_SLOW_MS \"") + GetParam() +
                            "\": it is a number of milliseconds up to 86400000; slow requests are not reported"));
    EXPECT_EQ(status("Server").value("Options").toMap().value("SlowMilliseconds"), QVariant(0LL));
}

INSTANTIATE_TEST_SUITE_P(Thresholds, InvalidThreshold, testing::Values("fast", "-1", "5ms", "1.5", "86400001", " 5"));

} // namespace
