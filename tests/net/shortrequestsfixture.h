#ifndef QUORVA_TESTS_NET_SHORTREQUESTSFIXTURE_H
#define QUORVA_TESTS_NET_SHORTREQUESTSFIXTURE_H

#include "net/bdbiomaster.h"

#include "netsupport.h"
#include "records/encoding.h"
#include "request/requestbench.h"
#include "requests.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "support/lockwaits.h"
#include "support/threadcount.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <list>
#include <memory>

#include <sys/syscall.h>

/** A transaction that holds the write lock on a record's page until this object ends. */
class HeldPage {
public:
    HeldPage(BDBEnv* env, BDBIndex* db, QByteArray key)
    {
        EXPECT_EQ(txn_.begin(env, 0), 0);
        Dbt keyData(key.data(), static_cast<u_int32_t>(key.size()));
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        EXPECT_EQ(db->get(&txn_, &keyData, &data, DB_RMW), 0);
        std::free(data.get_data());
    }

private:
    BDBTxn txn_;
};

/** A connection that a master serves. */
class ServedClient {
public:
    explicit ServedClient(BDBIOMaster* master) { master->addConnection(pair_.server.release()); }

    void send(const QByteArray& operation, const QVariantMap& body)
    {
        const QByteArray frame = Framing::frameRequest(Operations::fullName(operation), Json::serialize(body));
        EXPECT_EQ(::send(pair_.client.number(), frame.constData(), std::size_t(frame.size()), MSG_NOSIGNAL),
                  frame.size());
    }

    QVariantMap receive()
    {
        const QByteArray prefix = readBytes(pair_.client.number(), 4);
        return prefix.size() == 4
                   ? parseReply(readBytes(pair_.client.number(), Framing::readLength(prefix.constData())))
                   : QVariantMap();
    }

    QVariantMap request(const QByteArray& operation, const QVariantMap& body)
    {
        send(operation, body);
        return receive();
    }

    bool hasReply() const
    {
        pollfd waiting{pair_.client.number(), POLLIN, 0};
        return poll(&waiting, 1, 0) == 1;
    }

private:
    TcpPair pair_;
};

/** A table that is open, with two items on pages of their own, and a master that serves it. */
class ShortRequests : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(tables_.createTable().status, StatusSuccess);
        for (const char* hash : {Locked, Free})
            ASSERT_EQ(tables_.run("PutItem", {{"TableName", tables_.tableName()}, {"Item", item(hash)}}).status, 0);
        tables_.openEnvironment(&use_);
    }

    static QVariantMap item(const QString& hash) { return {{"h", textValue(hash)}, {"r", textValue("1")}}; }

    /** Starts the threads that serve connections; afterwards only the pool creates further ones. */
    void serve(int workers, int poolMax)
    {
        workers_ = workers;
        master_.init(workers, poolMax);
        ASSERT_TRUE(allWorkersWait());
        threads_ = threadCount();
    }

    [[nodiscard]] bool workersWait(int count) const
    {
        return waitUntil([&] { return threadsIn(SYS_epoll_wait) == count; });
    }
    [[nodiscard]] bool allWorkersWait() const { return workersWait(workers_); }

    std::size_t poolThreads() const { return threadCount() - threads_; }

    QVariantMap getBody(const QString& hash) const
    {
        return {{"TableName", tables_.tableName()}, {"Key", itemKey(hash, "1")}};
    }
    static QVariantMap foundReply() { return okReply({{"Item", QVariantMap()}}); }

    ServedClient& newClient() { return clients_.emplace_back(&master_); }

    /** Sends a request for the locked item, and waits until it waits for the lock. */
    ServedClient& sendBlocked()
    {
        const std::uintmax_t before = lockWaits(use_.env());
        ServedClient& client = newClient();
        client.send("GetItem", getBody(Locked));
        EXPECT_TRUE(waitUntil([&] { return lockWaits(use_.env()) > before; }));
        return client;
    }

    /** The lock on the page of the first item. */
    std::unique_ptr<HeldPage> lockPage()
    {
        const QByteArray file = Records::filePart(
            Records::dataFileName(tables_.tableBytes(), Records::partitionOf(Locked, PartitionCount)));
        BDBIndex* db = RequestBench::openDatabase(use_.env(), file, TableNames::DataSubDatabase);
        return std::make_unique<HeldPage>(use_.env(), db, Records::recordKey(Locked, "1"));
    }

    static constexpr const char* Locked = "locked";
    static constexpr const char* Free = "free";

    RequestBench tables_;
    EnvironmentUse use_; // ends before the environment is closed
    BDBIOMaster master_{1024, 256, tables_.registry()};
    std::list<ServedClient> clients_;

private:
    int workers_ = 0;
    std::size_t threads_ = 0;
};

#endif
