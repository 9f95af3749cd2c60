/*
 * Thousands of misbehaving connections of every kind, and one well-behaved client: it sees no error and no long delay,
 * and when the others are gone, all their resources have been released.
 */
#include "goodclient.h"
#include "peer.h"

#include "protocol/framing.h"
#include "protocol/operations.h"
#include "support/procfs.h"
#include "support/serverprocess.h"
#include "support/tablefixture.h"
#include "support/waituntil.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <chrono>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;

#ifdef QUORVA_SANITIZED
constexpr long MoreKilobytes = (64 + 256) * 1024; // AddressSanitizer keeps up to 256 MiB of what was freed
#else
constexpr long MoreKilobytes = 64 * 1024;
#endif
constexpr int OfEachKind = 400;

/** The system resources that a server holds. */
struct Holdings {
    std::size_t descriptors;
    long threads;   // without those of the pool, which has its maximum only after as many long requests at a time
    long kilobytes; // of memory that is not shared

    static Holdings of(ServerProcess& server)
    {
        const QVariantMap load = server.request("Quorva_1.Status", {}).value("Threads").toMap();
        return {ProcFs::descriptors(server.pid()).size(),
                std::stol(ProcFs::status(server.pid(), "Threads")) - static_cast<long>(load.value("Pool").toLongLong()),
                std::stol(ProcFs::status(server.pid(), "RssAnon"))};
    }
};

class HostileNetwork : public TableTest {
protected:
    HostileNetwork() : TableTest({.arguments = {"-w", "2", "-m", "8"}}) {}

    void SetUp() override
    {
        // Both ends of each connection: ours are in this process.
        rlimit limit{};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
        limit.rlim_cur = limit.rlim_max;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        if (limit.rlim_max < 4 * OfEachKind + 500)
            GTEST_SKIP() << "too few descriptors are allowed here";
        TableTest::SetUp();
        createTable(tableName());
        put("k", "large", {{"v", textValue(QString(400'000, 'v'))}});
    }

    QByteArray largeRead() const
    {
        return Framing::frameRequest(
            Operations::fullName("GetItem"),
            Json::serialize(QVariantMap{{"TableName", tableName()}, {"Key", itemKey("k", "large")}}));
    }
};

TEST_F(HostileNetwork, AGoodClientSeesNoErrorAndEverythingComesBack)
{
    const int port = server_.port();
    Holdings before{};
    {
        // Memory that any use takes.
        GoodClient warmUp(server_, tableName());
        ASSERT_TRUE(warmUp.waitForMore(200));
        std::vector<Peer> readers;
        for (int i = 0; i < OfEachKind; ++i) {
            readers.emplace_back(port, 4096);
            readers.back().send(largeRead());
        }
        ASSERT_TRUE(warmUp.waitForMore(200));
    }
    std::size_t idleDescriptors = 0;
    ASSERT_TRUE(waitUntil([&] {
        // One connection of TableTest stays open.
        before = Holdings::of(server_);
        return std::exchange(idleDescriptors, before.descriptors) == before.descriptors &&
               before.descriptors < OfEachKind;
    }));

    GoodClient good(server_, tableName());
    ASSERT_TRUE(good.waitForMore(20));
    for (int round = 0; round < 2; ++round) {
        std::minstd_rand random(static_cast<unsigned>(round) + 1);
        const auto bytes = [&](int count) {
            QByteArray result(count, '\0');
            for (char& byte : result)
                byte = static_cast<char>(random() >> 8);
            return result;
        };
        const QByteArray whole = largeRead();
        std::vector<Peer> peers;
        for (int i = 0; i < OfEachKind; ++i) {
            peers.emplace_back(port); // idle
            peers.emplace_back(port); // half a request, and then nothing
            peers.back().send(whole.left(40 + i % 50));
            peers.emplace_back(port); // half closed: it sends nothing more
            peers.back().send(whole.left(i % 8));
            peers.back().finishSending();
            peers.emplace_back(port, 4096); // asks for a large reply and never reads it
            peers.back().send(whole);

            Peer resetting(port);
            resetting.send(i % 2 == 0 ? whole : whole.left(30));
            resetting.reset();
            Peer garbage(port);
            garbage.send(bytes(1 + i * 13 % 5000));
            QByteArray huge = whole.left(Operations::fullName("GetItem").size() + 8);
            huge.replace(huge.size() - 4, 4, "\xff\xff\xff\xff");
            Peer boasting(port); // announces 4 GB
            boasting.send(huge + "{");
        }
        // Slow ones: a byte at a time, all of them at once.
        std::vector<Peer> slow;
        for (int i = 0; i < OfEachKind / 4; ++i) {
            slow.emplace_back(port);
            slow.back().send(whole.left(60));
        }
        for (qsizetype at = 60; at < whole.size(); ++at) {
            for (Peer& peer : slow)
                peer.send(whole.mid(at, 1));
        }
        ASSERT_TRUE(good.waitForMore(100)) << good.failures();
    }
    good.stop();
    EXPECT_EQ(good.failures(), 0);
    EXPECT_LT(good.longest(), 30s); // far above what it takes: a forgotten client would wait forever

    Holdings after{};
    EXPECT_TRUE(waitUntil([&] {
        after = Holdings::of(server_);
        return after.descriptors <= before.descriptors && after.threads <= before.threads &&
               after.kilobytes <= before.kilobytes + MoreKilobytes;
    })) << "descriptors "
        << before.descriptors << " -> " << after.descriptors << ", threads " << before.threads << " -> "
        << after.threads << ", memory in KB " << before.kilobytes << " -> " << after.kilobytes;
    EXPECT_EQ(get("good", "r").value("__rc"), QVariant(200LL));
}

/** The connection that asks for more memory than there is is closed, and the others are not affected. */
TEST_F(HostileNetwork, ABodyTooLargeToHoldClosesItsConnectionOnly)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer needs address space of its own and ends the process when there is none";
#endif
    GoodClient good(server_, tableName());
    ASSERT_TRUE(good.waitForMore(100)); // its threads exist
    const rlim_t used = std::stoul(ProcFs::status(server_.pid(), "VmSize")) * 1024;
    const rlimit little{used + (96 << 20), used + (96 << 20)};
    ASSERT_EQ(prlimit(server_.pid(), RLIMIT_AS, &little, nullptr), 0);

    const QByteArray header = [] {
        QByteArray frame = Framing::frameRequest(Operations::fullName("GetItem"), {});
        frame.replace(frame.size() - 4, 4, "\x40\x00\x00\x00"); // 1 GB
        return frame;
    }();
    for (int i = 0; i < 2; ++i) {
        Client::WireConnection greedy = server_.connect();
        ASSERT_TRUE(greedy.send(header));
        const QByteArray piece(1 << 20, ' ');
        int sent = 0;
        while (sent < 1024 && greedy.send(piece))
            ++sent;
        EXPECT_LT(sent, 1024);
    }
    EXPECT_TRUE(good.waitForMore(100));
    good.stop();
    EXPECT_EQ(good.failures(), 0);
    EXPECT_TRUE(server_.isRunning());
}

} // namespace
