#ifndef QUORVA_TESTS_HOSTILE_EXHAUSTION_H
#define QUORVA_TESTS_HOSTILE_EXHAUSTION_H

#include "support/serverprocess.h"
#include "support/tablefixture.h"

#include <QString>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <cstddef>
#include <utility>
#include <vector>

/** An item whose value is `size` characters long. */
inline QVariantMap numberedItem(int number, int size)
{
    return {{"h", textValue("k" + QString::number(number % 7))},
            {"r", textValue(QString::number(number))},
            {"v", textValue(QString(size, 'v'))}};
}

/** Writes one item after another to a table, and records which were acknowledged. */
class Filling {
public:
    Filling(ServerProcess* server, QString table, int size) : server_(server), table_(std::move(table)), size_(size) {}

    bool createTable()
    {
        return server_->request("CreateTable", {{"TableName", table_}, {"KeySchema", keySchema()}}).value("__rc") ==
               QVariant(200LL);
    }

    /** Writes the next item; true when it was acknowledged. A failure must be a reply, not a closed connection. */
    bool putNext()
    {
        const QVariantMap reply =
            server_->request("PutItem", {{"TableName", table_}, {"Item", numberedItem(tried_, size_)}});
        EXPECT_FALSE(reply.isEmpty());
        const bool done = reply.value("__rc") == QVariant(200LL);
        if (done)
            acknowledged_.push_back(tried_);
        ++tried_;
        return done;
    }

    /** Every acknowledged item is there, unchanged. */
    void expectAllThere()
    {
        for (const int number : acknowledged_) {
            QVariantMap attributes = numberedItem(number, size_);
            const QVariantMap key = itemKey(attributes.take("h").toMap().value("S").toString(),
                                            attributes.take("r").toMap().value("S").toString());
            ASSERT_EQ(server_->request("GetItem", {{"TableName", table_}, {"Key", key}}),
                      okReply({{"Item", attributes}}))
                << number << " of " << acknowledged_.size();
        }
    }

    std::size_t acknowledged() const { return acknowledged_.size(); }

private:
    ServerProcess* server_;
    const QString table_;
    const int size_;
    int tried_ = 0;
    std::vector<int> acknowledged_;
};

/** A server on a system that runs out of something. */
class Exhaustion : public testing::Test {
protected:
    static void restart(ServerProcess* server)
    {
        if (server->isRunning())
            server->kill();
        (void)server->waitForExit(); // ignored: it was killed, or a failed checkpoint had ended it
        ASSERT_TRUE(server->start());
    }
};

#endif
