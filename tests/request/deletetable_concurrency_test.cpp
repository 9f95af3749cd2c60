#include "deletetablefixture.h"

#include "support/background.h"

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include <poll.h>

namespace {

TEST_F(DeleteTable, DoesNotWaitForAClientThatDoesNotReadItsReply)
{
    constexpr int Items = 60; // of 400,000 bytes each: more than a connection's buffers hold
    createTable(tableName());
    for (int i = 0; i < Items; ++i) {
        const QVariantMap reply = put("abc", QString::number(i), {{"v", textValue(QString(400'000, 'v'))}});
        ASSERT_EQ(reply.value("__rc"), QVariant(200LL));
    }
    Caller slow(server_);
    const QVariantMap query{{"TableName", tableName()}, {"HashKeyValue", textValue("abc")}, {"Limit", 2 * Items}};
    ASSERT_TRUE(slow.connection().send(Framing::frameRequest(Operations::fullName("Query"), Json::serialize(query))));
    pollfd readable{slow.connection().socketDescriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&readable, 1, 60'000), 1) << "the reply has begun";

    auto deleted = inBackground([this] {
        return Caller(server_).request("DeleteTable", {{"TableName", tableName()}});
    });
    EXPECT_EQ(deleted.wait_for(std::chrono::seconds(30)), std::future_status::ready);

    QByteArray text;
    ASSERT_TRUE(slow.connection().receiveReply(&text)) << slow.connection().error().toStdString();
    EXPECT_EQ(deleted.get(), okReply());
    QVariant reply;
    ASSERT_TRUE(Json::parse(text, &reply));
    EXPECT_EQ(reply.toMap().value("Items").toList().size(), Items) << "the reply is whole all the same";
}

/**
 * Many connections write, describe and delete at once, each with a different spelling of the directory. A request may
 * be refused because the table is being deleted; an acknowledged write is never lost.
 */
TEST_F(DeleteTable, NeverLosesAnAcknowledgedWriteOfOthers)
{
    constexpr int Writers = 4;
    constexpr int Writes = 60;
    constexpr int Deletes = 40;
    std::filesystem::create_directory_symlink(home(), server_.directory() + "/link");
    const std::vector<std::string> spellings{
        home(), home() + "/", server_.directory() + "/link",
        server_.directory() + "/../" + std::filesystem::path(server_.directory()).filename().string() + "/link/."};
    createTable(tableName());
    const QVariantMap busy = notFoundReply();

    std::vector<std::vector<QString>> acknowledged(Writers);
    std::vector<Caller> callers;
    for (int i = 0; i < 2 * Writers; ++i)
        callers.emplace_back(server_);
    std::atomic<int> writing = Writers;
    std::vector<std::thread> threads;
    for (int i = 0; i < Writers; ++i) {
        threads.emplace_back([&, i] {
            Caller& caller = callers[static_cast<std::size_t>(i)];
            const QString name = tableIn(spellings[static_cast<std::size_t>(i)]);
            for (int n = 0; n < Writes;) {
                const QString range = QString::number(n);
                const QVariantMap item{{"h", textValue("w" + QString::number(i))}, {"r", textValue(range)}};
                const QVariantMap reply = caller.request("PutItem", {{"TableName", name}, {"Item", item}});
                if (reply == okReply({{"Attributes", QVariantMap()}})) {
                    acknowledged[static_cast<std::size_t>(i)].push_back(range);
                    ++n;
                } else if (reply != busy) {
                    ADD_FAILURE() << testing::PrintToString(reply);
                    break;
                }
            }
            --writing;
        });
        threads.emplace_back([&, i] {
            Caller& caller = callers[static_cast<std::size_t>(Writers + i)];
            const QString name = tableIn(spellings[static_cast<std::size_t>((i + 1) % Writers)]);
            // As long as there are writers, two of these describe and two delete.
            for (int n = 0; i % 2 == 0 ? writing > 0 : n < Deletes; ++n) {
                const QVariantMap reply =
                    caller.request(i % 2 == 0 ? "DescribeTable" : "DeleteTable", {{"TableName", name}});
                const bool well = i % 2 == 0 ? reply.contains("Table") || reply == busy : reply == okReply();
                if (!well) {
                    ADD_FAILURE() << testing::PrintToString(reply);
                    break;
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const auto expectAllThere = [&] {
        for (int i = 0; i < Writers; ++i) {
            EXPECT_THAT(acknowledged[static_cast<std::size_t>(i)], testing::SizeIs(Writes));
            for (const QString& range : acknowledged[static_cast<std::size_t>(i)])
                EXPECT_EQ(get("w" + QString::number(i), range), okReply({{"Item", QVariantMap()}}));
        }
    };
    expectAllThere();
    restartServer();
    expectAllThere();
}

} // namespace
