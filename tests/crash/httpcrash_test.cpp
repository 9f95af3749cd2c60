/* Clients of quorva-http, a kill of the server at a random moment, a restart, and a check of everything. */
#include "crashbench.h"
#include "httpwriter.h"
#include "seededtest.h"

#include "http/httpprocess.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

class HttpCrash : public SeededTest {
protected:
    HttpCrash() : SeededTest({"Kill", false, false}) {}

    /** The clients write until the server is killed. */
    void writeUntilTheKill(CrashBench& bench, std::vector<std::unique_ptr<HttpWriter>>& writers)
    {
        HttpProcess http;
        ASSERT_TRUE(http.start(bench.server().port()));
        const std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        for (const auto& writer : writers)
            threads.emplace_back([&] { writer->run(http.port(), stop); });
        const long long before = bench.ledger().acknowledgements();
        EXPECT_TRUE(waitUntil([&] { return bench.ledger().acknowledgements() > before; }));
        bench.pause(2ms, 500ms);
        bench.crash();
        for (std::thread& thread : threads)
            thread.join();
    }
};

TEST_F(HttpCrash, WhileItsClientsWrite)
{
    CrashBench bench(mode_, seed_, {});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    Counter* const counter = bench.ledger().addCounter({"t0", "http", "counter"});
    Contest* const contest = bench.ledger().addContest({"t1", "http", "contest"});
    std::vector<std::unique_ptr<HttpWriter>> writers;
    for (int number = 0; number < bench.ledger().writers(); ++number) {
        writers.push_back(std::make_unique<HttpWriter>(&bench.ledger(), QString::fromStdString(bench.home()), number,
                                                       seed_ + static_cast<unsigned>(number)));
        writers.back()->share(counter, contest);
    }
    for (int round = 0; round < crashRounds(); ++round) {
        writeUntilTheKill(bench, writers);
        ASSERT_TRUE(bench.start());
        bench.verify();
        if (HasFailure())
            return;
    }
    bench.verifyFiles();
}

} // namespace
