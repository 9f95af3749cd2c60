#ifndef QUORVA_TESTS_CRASH_CRASHBENCH_H
#define QUORVA_TESTS_CRASH_CRASHBENCH_H

#include "crashclient.h"
#include "ledger.h"
#include "writebackloss.h"
#include "writers.h"

#include "support/programrun.h"
#include "support/serverprocess.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

/*
 * Variables of these tests:
 *
 *     QUORVA_CRASH_SEED     where the random numbers begin; by default another in each run
 *     QUORVA_CRASH_ROUNDS   crashes in each test at random instants, 2 by default
 *     QUORVA_CRASH_KEEP     a directory to which the environment of a failure is copied
 */
unsigned crashSeed();
int crashRounds();

/** What a crash takes away. */
struct CrashMode {
    const char* name;
    /** Of what was not synchronised with the disk: nothing, or by chance nothing, a part or all. */
    bool powerLoss;
    /** The environment has the log synchronised by fdatasync at each commit, not by synchronous writes. */
    bool logDataSync;
};

/**
 * A server, an environment, writers and their ledger, through any number of crashes. Failures of a test tell the seed
 * and the crash.
 */
class CrashBench {
public:
    /** `environment` is added to what the server runs with. */
    CrashBench(const CrashMode& mode, unsigned seed, WriterTasks tasks,
               const std::map<std::string, std::string>& environment = {});
    ~CrashBench();
    CrashBench(const CrashBench&) = delete;
    CrashBench& operator=(const CrashBench&) = delete;

    const std::string& home() const { return home_; }
    /** A directory for backups, restored environments and exports, which lose what the mode says. */
    const std::string& targets() const { return targets_; }
    const WriteBackLoss& loss() const { return loss_; }
    ServerProcess& server() { return server_; }
    Writers& writers() { return *writers_; }
    Ledger& ledger() { return ledger_; }

    [[nodiscard]] bool start();
    /** The tables that writers share, and a first checkpoint, so that the first crash is one among others. */
    void createTables();

    /** Waits a random time, of which short ones are as likely as long ones: from `least` to `most`. */
    void pause(std::chrono::microseconds least, std::chrono::microseconds most);
    unsigned upTo(unsigned limit) { return static_cast<unsigned>(random_() >> 4) % limit; }

    /** Kills the server, waits for the writers, and loses what the mode says. */
    void crash();
    /** These one by one, where something else kills it, or the power fails later. */
    void waitForKill();
    void losePower();

    /** Runs the tool to its end, as part of the machine that may lose its power. */
    ProgramRun quorvactl(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment = {}) const;

    /** Asks the running server for everything. A test failure for each thing that is wrong, or the first of many. */
    void verify();
    void verifyCopy(const QString& directory, const Ledger::Floor& least);
    /** At the end: queries every hash key, closes the environment and looks at the structure of every file. */
    void verifyFiles();

    CrashClient client() { return {server_.port(), QString::fromStdString(home_)}; }

private:
    void query(CrashClient* client, const QString& table);
    void report(const char* what, const std::vector<std::string>& violations);
    void expectNoComplaintOfTheStorage();

    const CrashMode mode_;
    const unsigned seed_;
    std::minstd_rand random_;
    TempDir directory_;
    const std::string home_;
    const std::string targets_;
    const WriteBackLoss loss_;
    ServerProcess server_;
    Ledger ledger_{Writers::Count};
    std::unique_ptr<Writers> writers_;
    int crashes_ = 0;
};

#endif
