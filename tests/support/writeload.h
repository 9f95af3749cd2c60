#ifndef QUORVA_TESTS_SUPPORT_WRITELOAD_H
#define QUORVA_TESTS_SUPPORT_WRITELOAD_H

#include "support/tablefixture.h"

#include <atomic>
#include <map>
#include <mutex>
#include <random>
#include <thread>
#include <utility>
#include <vector>

/**
 * Connections that continuously put and delete items, each with its own keys, and a ledger of what they did: every
 * state that an item was meant to have, and the latest one that was acknowledged.
 */
class WriteLoad {
public:
    using Key = std::pair<QString, QString>; // hash and range key
    using Items = std::map<Key, QVariantMap>;
    using Acknowledged = std::map<Key, std::size_t>; // by item, the number of its latest state that was acknowledged

    WriteLoad(const ServerProcess& server, const QString& table, int connections = 4)
    {
        for (int i = 0; i < connections; ++i)
            threads_.emplace_back([this, &server, table, i] { write(server, table, i); });
    }
    ~WriteLoad() { stop(); }
    WriteLoad(const WriteLoad&) = delete;
    WriteLoad& operator=(const WriteLoad&) = delete;

    void stop()
    {
        stop_ = true;
        for (std::thread& thread : threads_)
            thread.join();
        threads_.clear();
    }

    /** The number of acknowledged writes. */
    std::size_t count() const { return count_; }
    /** Waits for further writes. */
    [[nodiscard]] bool waitForMore(std::size_t writes) const
    {
        const std::size_t goal = count_ + writes;
        return waitUntil([&] { return count_ >= goal; });
    }

    /** What has been acknowledged so far. */
    Acknowledged acknowledged() const
    {
        const std::lock_guard lock(mutex_);
        Acknowledged result;
        for (const auto& [key, item] : ledger_)
            result.emplace(key, item.acknowledged);
        return result;
    }

    /** The hash keys in use. */
    QStringList hashes() const
    {
        const std::lock_guard lock(mutex_);
        QStringList result;
        for (const auto& [key, item] : ledger_) {
            if (result.isEmpty() || result.last() != key.first) // in order
                result.append(key.first);
        }
        return result;
    }

    /** Expects each item to have the state that was acknowledged `then`, or a later one. */
    void expectHeldIn(const Items& items, const Acknowledged& then) const
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [key, least] : then) {
            const auto found = items.find(key);
            const QVariantMap item = found == items.end() ? QVariantMap() : found->second;
            const std::vector<QVariantMap>& states = ledger_.at(key).states;
            const auto first = states.begin() + static_cast<std::ptrdiff_t>(least);
            EXPECT_NE(std::find(first, states.end(), item), states.end())
                << key.first.toStdString() << '/' << key.second.toStdString() << ": the state " << least << " of "
                << states.size() - 1 << " was acknowledged, found is "
                << std::find(states.begin(), first, item) - states.begin();
        }
        for (const auto& [key, item] : items) {
            const auto known = ledger_.find(key);
            EXPECT_TRUE(known == ledger_.end() || std::find(known->second.states.begin(), known->second.states.end(),
                                                            item) != known->second.states.end())
                << key.first.toStdString() << '/' << key.second.toStdString() << " is nothing that was ever written";
        }
    }

    /** True if all requests have succeeded, which cannot be expected if the server has ended. */
    bool allAnswered() const { return allAnswered_; }

private:
    struct Item {
        std::vector<QVariantMap> states{QVariantMap()}; // no attributes: does not exist
        std::size_t acknowledged = 0;
    };

    void write(const ServerProcess& server, const QString& table, int number)
    {
        Caller caller(server);
        std::minstd_rand random(static_cast<unsigned>(number + 1));
        const auto upTo = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
        while (!stop_) {
            const Key key{QStringLiteral("load%1-%2-%3").arg(id_).arg(number).arg(upTo(20)), QString::number(upTo(3))};
            QVariantMap state;
            if (upTo(5) != 0) // otherwise it is deleted
                state = {{"version", numberValue(QString::number(++versions_))},
                         {"fill", textValue(QString(upTo(30) == 0 ? 60'000 : upTo(2000), 'f'))}};
            {
                const std::lock_guard lock(mutex_);
                ledger_[key].states.push_back(state);
            }
            if (!send(&caller, table, key, state)) {
                allAnswered_ = false;
                return;
            }
            const std::lock_guard lock(mutex_);
            Item& item = ledger_[key];
            item.acknowledged = item.states.size() - 1;
            ++count_;
        }
    }

    static bool send(Caller* caller, const QString& table, const Key& key, const QVariantMap& state)
    {
        const auto& [hash, range] = key;
        const QVariantMap reply =
            state.isEmpty()
                ? caller->request("DeleteItem", {{"TableName", table}, {"Key", itemKey(hash, range)}})
                : caller->request("PutItem",
                                  {{"TableName", table},
                                   {"Item", merged(state, {{"h", textValue(hash)}, {"r", textValue(range)}})}});
        return reply.value("__rc") == QVariant(200LL);
    }

    static int nextId()
    {
        static std::atomic<int> last{0};
        return ++last;
    }

    const int id_ = nextId(); // part of the keys, so that loads do not share items
    std::atomic<bool> stop_{false};
    std::atomic<bool> allAnswered_{true};
    std::atomic<std::size_t> count_{0};
    std::atomic<int> versions_{0};
    mutable std::mutex mutex_;
    std::map<Key, Item> ledger_; // guarded by mutex_
    std::vector<std::thread> threads_;
};

#endif
