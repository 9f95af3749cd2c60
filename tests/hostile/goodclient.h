#ifndef QUORVA_TESTS_HOSTILE_GOODCLIENT_H
#define QUORVA_TESTS_HOSTILE_GOODCLIENT_H

#include "support/serverprocess.h"
#include "support/tablefixture.h"
#include "support/waituntil.h"

#include <QString>
#include <QVariantMap>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

/** Sends requests without a pause on a connection of its own; each must succeed. */
class GoodClient {
public:
    GoodClient(const ServerProcess& server, QString table) : thread_([this, &server, table] { run(server, table); }) {}
    ~GoodClient() { stop(); }
    GoodClient(const GoodClient&) = delete;
    GoodClient& operator=(const GoodClient&) = delete;

    void stop()
    {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
    }

    int exchanges() const { return exchanges_; }
    int failures() const { return failures_; }
    std::chrono::milliseconds longest() const { return std::chrono::milliseconds(longest_.load()); }
    [[nodiscard]] bool waitForMore(int exchanges) const
    {
        const int goal = exchanges_ + exchanges;
        return waitUntil([&] { return exchanges_ >= goal || failures_ > 0; }) && failures_ == 0;
    }

private:
    void run(const ServerProcess& server, const QString& table)
    {
        Caller caller(server);
        for (int i = 0; !stop_; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            const QVariantMap attributes{{"n", numberValue(QString::number(i))}};
            const QVariantMap item = merged(attributes, {{"h", textValue("good")}, {"r", textValue("r")}});
            const bool put =
                caller.request("PutItem", {{"TableName", table}, {"Item", item}}).value("__rc") == QVariant(200LL);
            const bool got = caller.request("GetItem", {{"TableName", table}, {"Key", itemKey("good", "r")}}) ==
                             okReply({{"Item", attributes}});
            const auto took = std::chrono::steady_clock::now() - begin;
            longest_ =
                std::max<long long>(longest_, std::chrono::duration_cast<std::chrono::milliseconds>(took).count());
            failures_ += put && got ? 0 : 1;
            exchanges_ += 2;
        }
    }

    std::atomic<bool> stop_{false};
    std::atomic<int> exchanges_{0};
    std::atomic<int> failures_{0};
    std::atomic<long long> longest_{0}; // milliseconds
    std::thread thread_;
};

#endif
