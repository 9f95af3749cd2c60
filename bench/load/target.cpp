#include "load/target.h"

#include "load/checker.h"
#include "load/requests.h"
#include "protocol/endpoint.h"

#include "protocol/framing.h"
#include "protocol/operations.h"
#include "json/jsonwriter.h"

#include <atomic>
#include <limits>
#include <mutex>
#include <thread>

namespace Bench {

namespace {

QByteArray createRequest(const QByteArray& tableName)
{
    return Framing::frameRequest(Operations::CreateTable.fullName(), Json::serialize(tableDescription(tableName)));
}

/** Counts all items, which also opens all partitions. */
QByteArray countRequest(const QByteArray& tableName)
{
    const QVariantMap body{
        {"TableName", QString::fromUtf8(tableName)}, {"Count", true}, {"Limit", std::numeric_limits<int>::max()}};
    return Framing::frameRequest(Operations::Scan.fullName(), Json::serialize(body));
}

/** Puts one batch after another, always the next one of all threads. */
class BatchLoader {
public:
    BatchLoader(const Target& target, const Workload& workload) : target_(target), workload_(workload) {}

    void run()
    {
        Client::WireConnection connection;
        QString error;
        if (!target_.connect(&connection, &error))
            return fail(error);
        RequestMaker batches(target_.tableName, Operation::Batch, workload_, 1);
        QVariantMap reply;
        for (unsigned first = take(); first < workload_.items; first = take()) {
            if (!exchangeWell(connection, batches.at(first), &reply, &error))
                return fail(error);
        }
    }

    QString error() const { return error_; }

private:
    unsigned take() { return next_.fetch_add(ItemsPerBatch); }

    void fail(const QString& error)
    {
        const std::lock_guard lock(mutex_);
        error_ = error;
        next_ = workload_.items; // the others stop as well
    }

    const Target& target_;
    const Workload& workload_;
    std::atomic<unsigned> next_{0};
    std::mutex mutex_;
    QString error_; // guarded by mutex_ until all threads have ended
};

} // namespace

bool Target::connect(Client::WireConnection* connection, QString* error) const
{
    if (connection->open(QString::fromLatin1(Endpoint::Host), port))
        return true;
    *error = connection->error();
    return false;
}

bool Target::connectIdle(unsigned count, std::vector<Client::WireConnection>* connections, QString* error) const
{
    RequestMaker requests(tableName, Operation::Get, Workload(), 1);
    for (unsigned i = 0; i < count; ++i) {
        QVariantMap reply;
        Client::WireConnection& connection = connections->emplace_back();
        if (!connect(&connection, error) || !exchangeWell(connection, requests.at(0), &reply, error))
            return false;
    }
    return true;
}

bool Target::load(const Workload& workload, unsigned clients, QString* error) const
{
    Client::WireConnection connection;
    QVariantMap reply;
    if (!connect(&connection, error) || !exchangeWell(connection, createRequest(tableName), &reply, error))
        return false;
    BatchLoader loader(*this, workload);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < clients; ++i)
        threads.emplace_back([&] { loader.run(); });
    for (std::thread& thread : threads)
        thread.join();
    *error = loader.error();
    if (!error->isEmpty() || !exchangeWell(connection, countRequest(tableName), &reply, error))
        return false;
    if (reply.value("Count").toULongLong() != workload.items)
        *error = QStringLiteral("%1 items were put, %2 counted").arg(workload.items).arg(reply.value("Count").toInt());
    return error->isEmpty();
}

bool Target::check(const Workload& workload, QString* error) const
{
    Client::WireConnection connection;
    return connect(&connection, error) && Checker(connection, tableName, workload, error).run();
}

} // namespace Bench
