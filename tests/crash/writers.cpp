#include "writers.h"

#include "writer.h"

#include <utility>

Writers::Writers(Ledger* ledger, QString home, WriterTasks tasks, unsigned seed)
{
    for (int i = 0; i < Count; ++i)
        writers_.push_back(std::make_unique<Writer>(ledger, home, tasks, i, seed + static_cast<unsigned>(i) + 1));
    if (tasks.firstTouch)
        return; // there are no shared tables
    for (const char* table : SharedTables) {
        Counter* counter = ledger->addCounter({table, "counter", "r"});
        Contest* contest = ledger->addContest({table, "contest", "r"});
        for (const auto& writer : writers_)
            writer->share(counter, contest);
    }
}

Writers::~Writers()
{
    stop();
    join();
}

void Writers::start(int port)
{
    stop_ = false;
    for (const auto& writer : writers_)
        threads_.emplace_back([this, &writer, port] { writer->run(port, stop_); });
}

void Writers::join()
{
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}
