#include "schemafixture.h"
#include "storage/deadlockretry.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

/** Descriptions that are kept with the environment. */
class KeptDescription : public LoadSchema {
protected:
    static QByteArray numbered(int number)
    {
        return R"({"CreationDateTime":)" + QByteArray::number(number) + R"(,"KeySchema":)" + GoodSchema + '}';
    }

    /** The number in the description that a new request gets; -1 on failure. */
    int loadedNumber(const QByteArray& table, bool rawOnly = false)
    {
        TestConnection connection(tables_.registry());
        QVariantMap description;
        const int rc = Records::loadSchema(connection.context(), tables_.tableName(table), &description, rawOnly);
        EXPECT_EQ(connection.context().keySchema().has_value(), rc == 0 && !rawOnly);
        return rc == 0 ? description.value("CreationDateTime").toInt() : -1;
    }

    int put(const QByteArray& table, int number)
    {
        TestConnection connection(tables_.registry());
        BDBIndex* meta = nullptr;
        EXPECT_EQ(connection.context().envLookup(tables_.tableName(), 0), 0);
        EXPECT_EQ(connection.context().dbOpen(tables_.tableName(table), "meta", &meta), 0);
        return Deadlocks::retry(
            [&] {
                return Records::putDb(connection.context().env(), meta, Records::schemaRecordKey(), numbered(number),
                                      nullptr, nullptr);
            },
            [](int) {});
    }

    std::size_t lockRequests()
    {
        DB_LOCK_STAT* statistics = nullptr;
        EXPECT_EQ(tables_.env()->lock_stat(&statistics, 0), 0);
        const std::size_t requests = statistics->st_nrequests;
        std::free(statistics);
        return requests;
    }

    /** Whether `work` reads from the database. The environment's own threads lock no pages. */
    template <typename Work> bool reads(Work work)
    {
        const std::size_t before = lockRequests();
        work();
        return lockRequests() != before;
    }
};

TEST_F(KeptDescription, IsReadOnceForAllRequests)
{
    ASSERT_EQ(put("t", 1), 0);
    EXPECT_TRUE(reads([&] { EXPECT_EQ(loadedNumber("t"), 1); }));
    EXPECT_FALSE(reads([&] {
        EXPECT_EQ(loadedNumber("t"), 1);
        EXPECT_EQ(loadedNumber("t", true), 1);
    }));
    ASSERT_EQ(put("t", 2), 0);
    EXPECT_TRUE(reads([&] { EXPECT_EQ(loadedNumber("t", true), 2); }));
    EXPECT_FALSE(reads([&] { EXPECT_EQ(loadedNumber("t"), 2); }));
}

TEST_F(KeptDescription, IsThatOfItsOwnTable)
{
    ASSERT_EQ(put("t", 1), 0);
    ASSERT_EQ(put("u", 2), 0);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(loadedNumber("t"), 1);
        EXPECT_EQ(loadedNumber("u"), 2);
    }
}

TEST_F(KeptDescription, AFailureIsNotKept)
{
    const auto failsWith = [&](const std::string& line) {
        const LogCapture log;
        EXPECT_EQ(loadedNumber("t"), -1);
        EXPECT_FALSE(recordLines(log).empty());
        EXPECT_EQ(recordLines(log).back(), line);
    };
    for (int round = 0; round < 2; ++round)
        failsWith("[ERROR] bdbrequest # schema load failed rc 3");
    storeText("no JSON");
    for (int round = 0; round < 2; ++round)
        failsWith("[ERROR] bdbrequest # schema load failed rc 2");
    storeText(R"({"CreationDateTime":5})");
    for (int round = 0; round < 2; ++round) {
        failsWith("[ERROR] bdbrequest # wrond key rc1 2 rc2 2");
        EXPECT_EQ(loadedNumber("t", true), 5);
    }
    ASSERT_EQ(put("t", 1), 0);
    EXPECT_EQ(loadedNumber("t"), 1);
}

TEST_F(KeptDescription, EndsWithTheEnvironment)
{
    ASSERT_EQ(put("t", 1), 0);
    EXPECT_EQ(loadedNumber("t"), 1);
    tables_.reopen();
    EXPECT_TRUE(reads([&] { EXPECT_EQ(loadedNumber("t"), 1); }));
    ASSERT_EQ(put("t", 2), 0);
    EXPECT_EQ(loadedNumber("t"), 2);
}

TEST_F(KeptDescription, AWriteThroughAnotherNameOfTheFileCounts)
{
    ASSERT_EQ(put("t", 1), 0);
    std::filesystem::create_symlink("t", tables_.directory().file("link"));
    EXPECT_EQ(loadedNumber("link"), 1);
    EXPECT_EQ(loadedNumber("t"), 1);
    ASSERT_EQ(put("link", 2), 0);
    EXPECT_EQ(loadedNumber("t"), 2);
    EXPECT_EQ(loadedNumber("link"), 2);
    ASSERT_EQ(put("t", 3), 0);
    EXPECT_EQ(loadedNumber("link"), 3);
}

TEST_F(KeptDescription, NobodySeesAnOlderOneThanSomebodyHasSeen)
{
    constexpr int Changes = 100;
    ASSERT_EQ(put("t", 0), 0);
    std::filesystem::create_symlink("t", tables_.directory().file("link"));
    std::atomic<int> newestSeen = 0;
    std::atomic<int> older = 0;
    std::vector<std::thread> readers;
    for (const char* table : {"t", "link", "t"}) {
        readers.emplace_back([&, table] {
            for (int last = 0; last < Changes;) {
                const int before = newestSeen;
                last = loadedNumber(table);
                older += last < before ? 1 : 0;
                for (int newest = before; newest < last && !newestSeen.compare_exchange_weak(newest, last);)
                    ;
            }
        });
    }
    for (int number = 1; number <= Changes; ++number)
        EXPECT_EQ(put(number % 2 == 0 ? "t" : "link", number), 0);
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(older, 0);
}

} // namespace
