/*
 * No reply shows anything that a power failure could still lose. Clients read and write the same items concurrently, on
 * a disk that is slow for the log; a server is killed at a random instant, everything that was not synced is lost, and
 * then everything that any reply has shown, even by refusing a condition, is there, or something later.
 */
#include "contendingclient.h"
#include "crashbench.h"
#include "seededtest.h"

#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

class ShownValues : public SeededTest, public testing::WithParamInterface<CrashMode> {
protected:
    ShownValues() : SeededTest(GetParam()) {}

    /** Clients that read and write until the server is killed. */
    void runUntilKilled(CrashBench* bench, Stage* stage, unsigned seed)
    {
        using Work = void (ContendingClient::*)();
        std::vector<Work> works{&ContendingClient::putThoseToDelete, &ContendingClient::deleteThem,
                                &ContendingClient::writeBatches, &ContendingClient::addToList};
        works.insert(works.end(), 3, &ContendingClient::addAndContend);
        works.insert(works.end(), 5, &ContendingClient::read);
        const long long before = stage->shown.count();
        std::vector<std::thread> threads;
        for (const Work work : works) {
            threads.emplace_back([=, port = bench->server().port(), mine = ++seed] {
                ContendingClient client(stage, port, mine);
                (client.*work)();
            });
        }
        EXPECT_TRUE(waitUntil([&] { return stage->shown.count() >= before + 30; }));
        bench->pause(5ms, 200ms);
        bench->server().kill();
        bench->waitForKill();
        for (std::thread& thread : threads)
            thread.join();
    }

    void expectAllShownIsThere(CrashBench* bench, Stage* stage)
    {
        CrashClient client = bench->client();
        const auto expectAtLeast = [&](const Place& place, int found) {
            EXPECT_GE(found, stage->shown.least(place))
                << place.table.toStdString() << '/' << place.hash.toStdString() << '/' << place.range.toStdString()
                << ": the power failure took what " << stage->shown.how(place) << " had shown";
        };
        std::set<int> batchVersions;
        for (const auto* places : {&stage->counters, &stage->batch, &stage->deleted}) {
            for (const Place& place : *places) {
                const auto item = client.item({place.table, place.hash, place.range});
                ASSERT_TRUE(item);
                if (places != &stage->deleted || !item->isEmpty())
                    expectAtLeast(place, versionOf(*item));
                if (places == &stage->batch)
                    batchVersions.insert(versionOf(*item));
            }
        }
        EXPECT_EQ(batchVersions.size(), 1U) << "a part of a batch";
        const auto reply = client.request("Query", {{"TableName", client.tableName("t0")},
                                                    {"HashKeyValue", textValue(stage->list)},
                                                    {"Count", true},
                                                    {"Limit", 1'000'000}});
        ASSERT_TRUE(reply);
        expectAtLeast(stage->listLength, reply->value("Count").toInt());
    }
};

TEST_P(ShownValues, AreThereAfterALossOfPower)
{
    constexpr int RoundsEach = 3;
    CrashBench bench(GetParam(), seed_, {}, {{"CRASH_SLOW_LOG", "10000"}});
    const std::string link = bench.home() + ".link";
    std::filesystem::create_directory_symlink(bench.home(), link);
    ASSERT_TRUE(bench.start());
    bench.createTables();
    Stage stage(bench, link);
    for (int round = 0; round < RoundsEach * crashRounds(); ++round) {
        runUntilKilled(&bench, &stage, seed_ + static_cast<unsigned>(round) * 100);
        bench.loss().loseAll();
        ASSERT_TRUE(bench.start());
        expectAllShownIsThere(&bench, &stage);
        ASSERT_FALSE(HasFailure()) << "seed " << seed_ << ", round " << round;
    }
    std::cout << stage.shown.count() << " versions shown" << std::endl;
}

INSTANTIATE_TEST_SUITE_P(Modes, ShownValues,
                         testing::Values(CrashMode{"PowerLoss", true, false},
                                         CrashMode{"PowerLossWithDataSync", true, true}),
                         [](const auto& mode) { return mode.param.name; });

} // namespace
