#ifndef QUORVA_TESTS_TOOLS_READCOMMANDFIXTURE_H
#define QUORVA_TESTS_TOOLS_READCOMMANDFIXTURE_H

#include "support/lines.h"
#include "toolfixture.h"

#include <QStringList>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

/** A server with a table, and the tool's commands for reading it. */
class ReadCommandTest : public ToolTest {
protected:
    /** The printed items, one per line. */
    static QVariantList itemsIn(const ProgramRun& run)
    {
        EXPECT_TRUE(run.output.empty() || run.output.ends_with('\n'));
        QVariantList items;
        for (const std::string& line : linesOf(run.output)) {
            QVariant item;
            EXPECT_TRUE(Json::parse(QByteArray::fromStdString(line), &item)) << line;
            items.append(item);
        }
        return items;
    }

    /** The value of a key attribute of each item that a successful run printed. */
    static QStringList keysIn(const ProgramRun& run, const char* name)
    {
        EXPECT_EQ(run.status, 0) << run.error;
        EXPECT_EQ(run.error, "");
        QStringList keys;
        for (const QVariant& item : itemsIn(run))
            keys.append(item.toMap().value(name).toMap().value("S").toString());
        return keys;
    }

    /** Adds and deletes items during its lifetime. */
    class Churn {
    public:
        /** `key` returns the hash and range key of the n-th of 40 items. */
        Churn(const ServerProcess& server, const QString& table, std::function<std::pair<QString, QString>(int)> key)
            : thread_([this, &server, table, key = std::move(key)] {
                  Caller caller(server);
                  for (int i = 0; !stop_; i = (i + 7) % 40) {
                      const auto [hash, range] = key(i);
                      const QVariantMap item{{"h", textValue(hash)}, {"r", textValue(range)}};
                      (void)caller.request("PutItem", {{"TableName", table}, {"Item", item}});
                      const auto [oldHash, oldRange] = key((i + 20) % 40);
                      (void)caller.request("DeleteItem", {{"TableName", table}, {"Key", itemKey(oldHash, oldRange)}});
                      ++rounds_;
                  }
              })
        {
            (void)waitUntil([this] { return rounds_ > 40; });
        }
        ~Churn()
        {
            stop_ = true;
            thread_.join();
        }
        Churn(const Churn&) = delete;
        Churn& operator=(const Churn&) = delete;

    private:
        std::atomic<bool> stop_{false};
        std::atomic<int> rounds_{0};
        std::thread thread_;
    };
};

inline void PrintTo(const QStringList& list, std::ostream* out)
{
    *out << '[' << list.join(", ").toStdString() << ']';
}

#endif
