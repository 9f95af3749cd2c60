#include "recordopsfixture.h"
#include "storage/deadlockretry.h"

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace {

class RecordOpsUnderContention : public RecordOps {
protected:
    /** Runs `work` on `count` threads, passing the number of the thread, each with its own connection. */
    void onThreads(int count, const std::function<void(int, BDBEnv*)>& work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i)
            threads.emplace_back([this, i, &work] {
                TestConnection connection(tables_.registry());
                EXPECT_EQ(connection.context().envLookup(tables_.tableName(), 0), 0);
                work(i, connection.context().env());
            });
        for (std::thread& thread : threads)
            thread.join();
    }

    const QByteArray text_ = R"({"a":{"S":"x"}})";
};

TEST_F(RecordOpsUnderContention, ADeadlockIsHandedOnWithoutALine)
{
    store(text_);
    const HeldLock held(env(), db_, key_, HeldLock::Write);
    const ExpiringLocks expiring(env());
    const LogCapture log;
    const QVariantMap condition = json(R"({"a":{"Exists":true}})");
    const QByteArray allOld = "ALL_OLD";

    QVariantMap item = json(R"({"a":{"S":"y"}})");
    EXPECT_EQ(readItem(env(), db_, key_, &item), DB_LOCK_DEADLOCK);
    EXPECT_EQ(writeItem(env(), db_, key_, &item, nullptr, false), DB_LOCK_DEADLOCK);
    EXPECT_EQ(writeItem(env(), db_, key_, &item, nullptr, true), DB_LOCK_DEADLOCK);
    EXPECT_EQ(writeItem(env(), db_, key_, &item, &condition, false), DB_LOCK_DEADLOCK);
    EXPECT_EQ(Records::deleteDb(env(), db_, key_, nullptr, nullptr), DB_LOCK_DEADLOCK);
    EXPECT_EQ(Records::deleteDb(env(), db_, key_, nullptr, &item), DB_LOCK_DEADLOCK);
    EXPECT_EQ(Records::deleteDb(env(), db_, key_, &condition, nullptr), DB_LOCK_DEADLOCK);
    EXPECT_EQ(Records::updateDb(env(), db_, key_, json(R"({"a":{"Action":"DELETE"}})"), nullptr, &allOld, &item),
              DB_LOCK_DEADLOCK);

    EXPECT_EQ(item, json(R"({"a":{"S":"y"}})"));
    EXPECT_EQ(recordLines(log), Lines());
    EXPECT_EQ(activeTransactions(), 1u); // the one that holds the lock
}

TEST_F(RecordOpsUnderContention, NothingIsChangedByADeadlock)
{
    store(text_);
    {
        const HeldLock held(env(), db_, key_, HeldLock::Write);
        const ExpiringLocks expiring(env());
        QVariantMap item = json(R"({"a":{"S":"y"}})");
        EXPECT_EQ(writeItem(env(), db_, key_, &item, nullptr, false), DB_LOCK_DEADLOCK);
        EXPECT_EQ(Records::deleteDb(env(), db_, key_, nullptr, nullptr), DB_LOCK_DEADLOCK);
    }
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrange", text_}}));
}

TEST_F(RecordOpsUnderContention, TheReadOfAReadModifyWriteTakesTheWriteLock)
{
    // With a plain read, each of these could detect its failed condition concurrently with another reader.
    store(text_);
    const QVariantMap fails = json(R"({"a":{"Exists":false}})");
    QVariantMap item;
    {
        const HeldLock reader(env(), db_, key_, HeldLock::Read);
        const ExpiringLocks expiring(env());
        EXPECT_EQ(writeItem(env(), db_, key_, &item, &fails, false), DB_LOCK_DEADLOCK);
        EXPECT_EQ(Records::deleteDb(env(), db_, key_, &fails, nullptr), DB_LOCK_DEADLOCK);
        EXPECT_EQ(Records::updateDb(env(), db_, key_, QVariantMap(), &fails, nullptr, &item), DB_LOCK_DEADLOCK);
    }
    EXPECT_EQ(writeItem(env(), db_, key_, &item, &fails, false), StatusConditionFailed);
    EXPECT_EQ(Records::deleteDb(env(), db_, key_, &fails, nullptr), StatusConditionFailed);
    EXPECT_EQ(Records::updateDb(env(), db_, key_, QVariantMap(), &fails, nullptr, &item), StatusConditionFailed);
}

TEST_F(RecordOpsUnderContention, OppositeOrdersDeadlockAndTheYoungerTransactionLoses)
{
    BDBIndex* second = tables_.index("second.db");
    store(text_);
    rawPut(second, key_, text_);
    QVariantMap ours = json(R"({"a":{"S":"younger"}})");
    QVariantMap theirs = json(R"({"a":{"S":"older"}})");
    const LogCapture log;

    BDBTxn older, younger;
    ASSERT_EQ(older.begin(env(), 0), 0);
    ASSERT_EQ(younger.begin(env(), 0), 0);
    ASSERT_EQ(writeItem(db_, key_, &theirs, nullptr, false, &older), 0);
    ASSERT_EQ(writeItem(second, key_, &ours, nullptr, true, &younger), 0);
    ours = json(R"({"a":{"S":"younger"}})");

    // Whichever waits first, the second wait completes the cycle.
    int rc = -1;
    std::thread other([&] { rc = writeItem(second, key_, &theirs, nullptr, false, &older); });
    EXPECT_EQ(writeItem(db_, key_, &ours, nullptr, true, &younger), DB_LOCK_DEADLOCK);
    EXPECT_EQ(ours, json(R"({"a":{"S":"younger"}})"));
    EXPECT_EQ(younger.finish(DB_LOCK_DEADLOCK), DB_LOCK_DEADLOCK);
    other.join();
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(older.finish(0), 0);

    const RawRecords expected{{"0004hashrange", R"({"a":{"S":"older"}})"}};
    EXPECT_EQ(rawRecords(db_), expected);
    EXPECT_EQ(rawRecords(second), expected);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(RecordOpsUnderContention, NoAdditionIsLost)
{
    constexpr int Threads = 8;
    constexpr int Rounds = 50;
    const CommitFlags flags(DB_TXN_NOSYNC); // independent of the speed of the disk
    const QVariantMap add = json(R"({"n":{"Action":"ADD","Value":{"N":"1"}}})");
    const LogCapture log;
    onThreads(Threads, [&](int, BDBEnv* env) {
        QVariantMap result;
        for (int i = 0; i < Rounds; ++i) {
            const int rc = Deadlocks::retry(
                [&] { return Records::updateDb(env, db_, key_, add, nullptr, nullptr, &result); }, [](int) {});
            EXPECT_EQ(rc, 0);
        }
    });
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrange", R"({"n":{"N":"400"}})"}}));
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(RecordOpsUnderContention, OnlyOneCreatorWins)
{
    const QVariantMap missing = json(R"({"owner":{"Exists":false}})");
    for (int round = 0; round < 10; ++round) {
        const QByteArray key = Records::recordKey(QByteArray::number(round), "");
        std::atomic<int> winner{-1};
        std::atomic<int> winners{0};
        std::atomic<int> losers{0};
        onThreads(4, [&](int number, BDBEnv* env) {
            QVariantMap item;
            const int rc = Deadlocks::retry(
                [&] {
                    item = {{"owner", QVariantMap{{"N", QString::number(number)}}}};
                    return writeItem(env, db_, key, &item, &missing, false);
                },
                [](int) {});
            if (rc == 0) {
                ++winners;
                winner = number;
            } else if (rc == StatusConditionFailed) {
                ++losers;
            }
        });
        EXPECT_EQ(winners, 1);
        EXPECT_EQ(losers, 3);
        EXPECT_EQ(rawGet(db_, key), R"({"owner":{"N":")" + QByteArray::number(winner) + R"("}})");
    }
}

TEST_F(RecordOpsUnderContention, ReadersSeeWholeItems)
{
    // Every writer sets two attributes to the same value, one of them long enough to need a second read.
    const CommitFlags flags(DB_TXN_NOSYNC);
    const auto itemOf = [](int value) {
        const QString text(value % 2 == 0 ? 10 : 6000, QChar('a' + value));
        return QVariantMap{{"a", QVariantMap{{"S", text}}}, {"b", QVariantMap{{"S", text}}}};
    };
    QVariantMap first = itemOf(0);
    ASSERT_EQ(writeItem(env(), db_, key_, &first, nullptr, false), 0);
    onThreads(4, [&](int number, BDBEnv* env) {
        for (int i = 0; i < 50; ++i) {
            QVariantMap item;
            const int rc = Deadlocks::retry(
                [&] {
                    if (number % 2 == 0)
                        return readItem(env, db_, key_, &item);
                    item = itemOf((i + number) % 8);
                    return writeItem(env, db_, key_, &item, nullptr, true);
                },
                [](int) {});
            EXPECT_EQ(rc, 0);
            EXPECT_FALSE(item.value("a").toMap().isEmpty());
            EXPECT_EQ(item.value("a"), item.value("b"));
        }
    });
}

} // namespace
