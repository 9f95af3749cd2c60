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
 *     QUORVA_CRASH_SEED     the seed of the random numbers; by default another one in each run
 *     QUORVA_CRASH_ROUNDS   crashes in each test at random moments, 2 by default
 *     QUORVA_CRASH_KEEP     a directory to which the environment of a failure is copied
 */
unsigned crashSeed();
int crashRounds();

/** What a crash takes away. */
struct CrashMode {
    const char* name;
    /** Loses, at random, none, some or all of the data that was not synced to disk. */
    bool powerLoss;
    /** The log is synced with fdatasync at each commit, not by synchronous writes. */
    bool logDataSync;
};

/**
 * A server, an environment, writers and their ledger, through any number of crashes. Failures name the seed and the
 * number of the crash.
 */
class CrashBench {
public:
    /** `environment` is added to the server's environment variables. */
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
    /** Creates the tables that the writers share, so that the first crash is like the later ones. */
    void createTables();

    /** Waits a random time from `least` to `most`, uniform on a logarithmic scale. */
    void pause(std::chrono::microseconds least, std::chrono::microseconds most);
    unsigned upTo(unsigned limit) { return static_cast<unsigned>(random_() >> 4) % limit; }

    /** Kills the server, waits for the writers, and loses what the mode says. */
    void crash();
    /** The steps of crash(), for cases where something else kills the server, or the power fails later. */
    void waitForKill();
    void losePower();

    /** Runs the tool to its end, on the machine that may lose power. */
    ProgramRun quorvactl(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment = {}) const;

    /** Reads everything from the running server, and fails the test with a list of errors. */
    void verify();
    void verifyCopy(const QString& directory, const Ledger::Floor& least);
    /** At the end: queries every hash key, closes the environment and verifies the structure of every file. */
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
