#include "commitfixture.h"

#include <atomic>
#include <thread>

namespace {

class CommitConcurrency : public CommitTest {
protected:
    /** Runs `work`, a `void(Caller&, int)` callable, on that many threads, each with its own connection. */
    template <typename Work> void onThreads(int count, Work work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([&, i] {
                Caller caller(server_);
                work(caller, i);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    QVariantMap read(Caller& caller, const QString& hash) const
    {
        return caller.request("GetItem", {{"TableName", tableName()}, {"Key", itemKey(hash, "r")}})
            .value("Item")
            .toMap();
    }

    static qlonglong numberIn(const QVariantMap& item)
    {
        return item.value("n").toMap().value("N").toString().toLongLong();
    }
    static QVariantMap counted(qlonglong number) { return {{"n", numberValue(QString::number(number))}}; }

    /** Adds to the counters of some hash keys in one Commit, and retries until no other client interferes. */
    void add(Caller& caller, const QStringList& hashes, qlonglong number)
    {
        QList<QVariantMap> items;
        for (const QString& hash : hashes)
            items.append(read(caller, hash));
        for (;;) {
            QVariantList entries;
            for (qsizetype i = 0; i < hashes.size(); ++i)
                entries.append(putEntry(hashes[i], "r", counted(numberIn(items[i]) + number), expectedItem(items[i])));
            const QVariantMap reply = caller.request("Quorva_1.Commit", {{"Entries", entries}});
            if (reply == okReply())
                return;
            const QVariantList mismatches = reply.value("Mismatches").toList();
            ASSERT_EQ(reply, mismatched(mismatches));
            ASSERT_FALSE(mismatches.isEmpty());
            for (const QVariant& mismatch : mismatches)
                items[mismatch.toMap().value("Entry").toInt()] = mismatch.toMap().value("Item").toMap();
        }
    }
};

TEST_F(CommitConcurrency, NoIncrementOfManyClientsIsLost)
{
    constexpr int Clients = 64;
    constexpr int Counters = 8;
    constexpr int UsualIncrements = 10; // by each client
    bool isSet = false;
    const int wanted = qEnvironmentVariableIntValue("QUORVA_TEST_INCREMENTS", &isSet);
    const int increments = isSet ? wanted : UsualIncrements;
    QStringList hashes;
    for (int i = 0; i < Counters; ++i) {
        hashes.append(QString::number(i));
        put(hashes.last(), "r", counted(0));
    }
    onThreads(Clients, [&](Caller& caller, int client) {
        for (int i = 0; i < increments; ++i)
            add(caller, {hashes[(client + i) % Counters]}, 1);
    });
    qlonglong sum = 0;
    for (const QString& hash : hashes)
        sum += numberIn(get(hash, "r").value("Item").toMap());
    EXPECT_EQ(sum, qlonglong{Clients} * increments);
    EXPECT_THAT(takeComplaints(), testing::IsEmpty());
}

TEST_F(CommitConcurrency, ItemsThatAreAlwaysChangedTogetherAreNeverSeenApart)
{
    constexpr int Clients = 8;
    constexpr int Increments = 15;
    const QStringList hashes{"a", "b", "c"};
    for (const QString& hash : hashes)
        put(hash, "r", counted(0));
    std::atomic<int> running = Clients;
    onThreads(Clients + 1, [&](Caller& caller, int client) {
        if (client < Clients) {
            // Each in a different order: the transaction takes the files in one fixed order.
            QStringList own = hashes;
            std::rotate(own.begin(), own.begin() + client % 3, own.end());
            for (int i = 0; i < Increments; ++i)
                add(caller, own, 1);
            --running;
            return;
        }
        QVariantList nothing;
        for (const QString& hash : hashes)
            nothing.append(checkEntry(hash, "r", NoItem));
        while (running > 0) {
            const QVariantList all =
                caller.request("Quorva_1.Commit", {{"Entries", nothing}}).value("Mismatches").toList();
            ASSERT_EQ(all.size(), hashes.size());
            for (const QVariant& mismatch : all)
                EXPECT_EQ(mismatch.toMap().value("Item"), all[0].toMap().value("Item"));
        }
    });
    for (const QString& hash : hashes)
        EXPECT_EQ(get(hash, "r"), found(counted(Clients * Increments)));
}

} // namespace
