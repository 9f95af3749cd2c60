#ifndef QUORVA_TESTS_LIBRARY_LIBRARYFIXTURE_H
#define QUORVA_TESTS_LIBRARY_LIBRARYFIXTURE_H

#include "support/serverprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quorva/connection.h>

#include <ostream>

/** A server with a table, with the keys "h" and "r", and a connection of the library to it. */
class LibraryTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server_.start());
        table_ = QString::fromStdString(server_.makeDirectory("env") + "|t");
        const Quorva::Result opened = connection_.open(address());
        ASSERT_TRUE(opened.ok()) << opened.errorText().toStdString();
        const Quorva::Result created = connection_.createTable({table_, "h", "r"});
        ASSERT_TRUE(created.ok()) << created.errorText().toStdString();
    }

    Quorva::Server address() const
    {
        Quorva::Server server;
        server.port = server_.port();
        server.receiveLimit = ServerProcess::Deadline;
        return server;
    }

    void put(const QString& hash, const QString& range, const Quorva::Item& attributes = {})
    {
        Quorva::Item item = attributes;
        item.insert("h", Quorva::S(hash));
        item.insert("r", Quorva::S(range));
        const Quorva::Result stored = connection_.putItem(table_, item);
        EXPECT_TRUE(stored.ok()) << stored.errorText().toStdString();
    }

    /** The stored attributes; nothing if there is no such item. */
    std::optional<Quorva::Item> stored(const QString& hash, const QString& range)
    {
        const Quorva::Result found = connection_.getItem(table_, {hash, range});
        EXPECT_TRUE(found.ok()) << found.errorText().toStdString();
        return found.item();
    }

    ServerProcess server_;
    QString table_;
    Quorva::Connection connection_;
};

/** Expects the result of a failed condition. */
inline void expectConditionFailed(const Quorva::Result& result)
{
    EXPECT_EQ(result.outcome(), Quorva::Outcome::ConditionFailed);
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(result.rc(), 400);
    EXPECT_EQ(result.rcstr(), "Bad Request");
    EXPECT_EQ(result.errorType(), "ConditionalCheckFailedException");
    EXPECT_EQ(result.errorText(), "The conditional request failed.");
}

/** Expects the result of a request without a reply. */
inline void expectNoReply(const Quorva::Result& result, const QString& why)
{
    EXPECT_EQ(result.outcome(), Quorva::Outcome::NoReply);
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(result.reply(), QVariantMap());
    EXPECT_EQ(result.rc(), 0);
    EXPECT_EQ(result.rcstr(), "");
    EXPECT_EQ(result.errorType(), "");
    EXPECT_EQ(result.errorText(), why) << result.errorText().toStdString();
}

namespace Quorva {

inline void PrintTo(Outcome outcome, std::ostream* out)
{
    static constexpr const char* names[] = {"Success", "ConditionFailed", "ErrorReply", "NoReply"};
    *out << names[static_cast<int>(outcome)];
}

} // namespace Quorva

inline void PrintTo(const QStringList& list, std::ostream* out)
{
    *out << '[' << list.join(", ").toStdString() << ']';
}

#endif
