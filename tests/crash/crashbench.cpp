#include "crashbench.h"

#include "support/waituntil.h"
#include "tools/restoredenvironment.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

namespace {

ServerProcess::Setup setupFor(const CrashMode& mode, const WriteBackLoss& loss,
                              const std::map<std::string, std::string>& environment)
{
    ServerProcess::Setup setup{.environment = environment};
    if (mode.powerLoss)
        setup.environment.merge(loss.environment());
    return setup;
}

unsigned numberFrom(const char* variable, unsigned otherwise)
{
    const char* text = std::getenv(variable);
    return text == nullptr || *text == '\0' ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

} // namespace

unsigned crashSeed()
{
    return numberFrom("QUORVA_CRASH_SEED", std::random_device{}() % 1'000'000);
}

int crashRounds()
{
    return static_cast<int>(numberFrom("QUORVA_CRASH_ROUNDS", 2));
}

CrashBench::CrashBench(const CrashMode& mode, unsigned seed, WriterTasks tasks,
                       const std::map<std::string, std::string>& environment)
    : mode_(mode), seed_(seed), random_(seed), home_(directory_.makeDirectory("env")),
      targets_(directory_.makeDirectory("targets")),
      loss_({.environment = home_, .strict = targets_, .state = directory_.makeDirectory("durable")}),
      server_(setupFor(mode, loss_, environment)),
      writers_(std::make_unique<Writers>(&ledger_, QString::fromStdString(home_), tasks, seed))
{
    random_.discard(10); // neighbouring seeds begin with similar numbers
    if (mode.logDataSync) {
        std::ofstream(home_ + "/DB_CONFIG") << "log_set_config db_log_dsync off\n"
                                               "set_lg_max 4194304\n"
                                               "#quorva prepare_log_files on\n";
        loss_.settle(home_ + "/DB_CONFIG");
    }
}

CrashBench::~CrashBench()
{
    // Writers stop with their server.
    if (server_.isRunning()) {
        server_.kill();
        (void)server_.waitForExit(); // ignored: the server's own destructor would do the same
    }
}

bool CrashBench::start()
{
    return server_.start();
}

void CrashBench::createTables()
{
    CrashClient caller = client();
    for (const char* name : {"t0", "t1"}) {
        Table* table = ledger_.addTable(name);
        ledger_.begin(&table->progress, 1);
        const auto reply =
            caller.request("CreateTable", {{"TableName", caller.tableName(name)},
                                           {"KeySchema", keySchema()},
                                           {"ProvisionedThroughput", QVariantMap{{"ReadCapacityUnits", 1}}}});
        EXPECT_EQ(reply.value_or(QVariantMap()).value("__rc"), QVariant(200LL));
        ledger_.acknowledge(&table->progress);
    }
}

void CrashBench::pause(std::chrono::microseconds least, std::chrono::microseconds most)
{
    const double part = static_cast<double>(upTo(1'000'000)) / 1'000'000;
    const double factor = static_cast<double>(most.count()) / static_cast<double>(least.count());
    std::this_thread::sleep_for(
        std::chrono::microseconds(static_cast<long long>(static_cast<double>(least.count()) * std::pow(factor, part))));
}

void CrashBench::waitForKill()
{
    ++crashes_;
    EXPECT_EQ(server_.waitForExit(), -SIGKILL)
        << "seed " << seed_ << ", crash " << crashes_ << ": it had ended before\n"
        << server_.logText() << server_.errorText();
    writers_->join();
}

void CrashBench::crash()
{
    server_.kill();
    waitForKill();
    losePower();
}

void CrashBench::losePower()
{
    if (!mode_.powerLoss)
        return;
    switch (upTo(3)) {
    case 0:
        loss_.loseAll();
        break;
    case 1:
        loss_.loseSome(&random_);
        break;
    default: // the machine kept running
        break;
    }
}

ProgramRun CrashBench::quorvactl(const std::vector<std::string>& arguments,
                                 const std::map<std::string, std::string>& environment) const
{
    std::map<std::string, std::string> variables = environment;
    if (mode_.powerLoss)
        variables.merge(loss_.environment());
    std::vector<std::string> words;
    for (const auto& [name, value] : variables)
        words.push_back(name + '=' + value);
    words.emplace_back(QUORVACTL_BINARY);
    words.insert(words.end(), arguments.begin(), arguments.end());
    return runProgram("/usr/bin/env", words);
}

void CrashBench::verify()
{
    CrashClient reader = client();
    report("the environment", ledger_.verify(&reader));
    expectNoComplaintOfTheStorage();
}

void CrashBench::verifyCopy(const QString& directory, const Ledger::Floor& least)
{
    CrashClient reader(server_.port(), directory);
    report("the restored backup", ledger_.verifyCopy(&reader, least));
}

/** Queries each hash key that was used, rather than scanning all partitions. */
void CrashBench::query(CrashClient* client, const QString& table)
{
    Ledger::Items items;
    for (const QString& hash : ledger_.hashes(table)) {
        const auto reply = client->request(
            "Query", {{"TableName", client->tableName(table)}, {"HashKeyValue", textValue(hash)}, {"Limit", 100'000}});
        if (!reply || reply->value("__rc") != QVariant(200LL))
            return report("a query", {"no reply, or an error: " + hash.toStdString()});
        for (const QVariant& entry : reply->value("Items").toList()) {
            QVariantMap item = entry.toMap();
            (void)item.take("h"); // ignored: that of the query
            const QString range = item.take("r").toMap().value("S").toString();
            if (!items.emplace(std::pair(hash, range), item).second)
                report("a query", {"twice: " + hash.toStdString() + '/' + range.toStdString()});
        }
    }
    report("a query", ledger_.compareAll(table, items));
}

void CrashBench::verifyFiles()
{
    CrashClient reader = client();
    for (const QString table : {"t0", "t1"})
        query(&reader, table);
    const auto closed = reader.request("DeleteTable", {{"TableName", reader.tableName("t0")}});
    EXPECT_EQ(closed, okReply()) << "seed " << seed_;
    expectNoComplaintOfTheStorage();
    std::filesystem::remove(home_ + "/DB_CONFIG"); // not a database
    const std::string damage = Ctl::verifyDatabases(home_, [](std::size_t, std::size_t) {});
    EXPECT_EQ(damage, "") << "seed " << seed_;
    std::cout << ledger_.acknowledgements() << " writes acknowledged; of "
              << ledger_.keptInFlight() + ledger_.lostInFlight() << " without a reply " << ledger_.keptInFlight()
              << " had their effect" << std::endl;
}

/** Berkeley DB itself must not have logged anything. */
void CrashBench::expectNoComplaintOfTheStorage()
{
    std::vector<std::string> lines;
    for (const std::string& line : server_.logLines()) {
        if (line.find("BDB: ") != std::string::npos || line.find("[CRIT]") != std::string::npos)
            lines.push_back(line);
    }
    report("the log", lines);
}

void CrashBench::report(const char* what, const std::vector<std::string>& violations)
{
    if (violations.empty())
        return;
    constexpr std::size_t Most = 10;
    std::string text;
    for (std::size_t i = 0; i < std::min(Most, violations.size()); ++i)
        text += "  " + violations[i] + '\n';
    const char* keep = std::getenv("QUORVA_CRASH_KEEP");
    if (keep != nullptr)
        std::filesystem::copy(directory_.path(), std::string(keep) + '/' + std::to_string(seed_),
                              std::filesystem::copy_options::recursive |
                                  std::filesystem::copy_options::overwrite_existing);
    ADD_FAILURE() << mode_.name << ", seed " << seed_ << ", after crash " << crashes_ << ": " << violations.size()
                  << " things are wrong with " << what << '\n'
                  << text << "log:\n"
                  << server_.logText();
}
