#ifndef QUORVA_TESTS_TOOLS_KEEPFIXTURE_H
#define QUORVA_TESTS_TOOLS_KEEPFIXTURE_H

#include "support/backupfixture.h"
#include "support/standingclock.h"

#include <fstream>
#include <map>
#include <string>
#include <vector>

// For tests that set the clock, or hold the disk: nothing is preloaded into a server with a sanitizer.
#ifdef QUORVA_SANITIZED
#define SKIP_WITHOUT_PRELOADED_LIBRARIES() GTEST_SKIP() << "a sanitizer wants to be the first library of its process"
#else
#define SKIP_WITHOUT_PRELOADED_LIBRARIES() static_cast<void>(0)
#endif

/** A server with a table, whose log files are small, so that some are shipped soon, and whose clock the test sets. */
class KeepTest : private StandingClock, public BackupTest {
protected:
    static std::map<std::string, std::string> with(std::map<std::string, std::string> clock,
                                                   const std::map<std::string, std::string>& more)
    {
#ifdef QUORVA_SANITIZED
        return {};
#endif
        for (const auto& [name, value] : more)
            clock[name] = name == "LD_PRELOAD" ? clock[name] + ':' + value : value;
        return clock;
    }

    explicit KeepTest(const std::map<std::string, std::string>& environment = {})
        : BackupTest({.environment = with(StandingClock::environment(QUORVA_STANDINGCLOCK_LIBRARY), environment)})
    {}

    void SetUp() override
    {
        std::ofstream(home() + "/DB_CONFIG") << "set_lg_max 262144\nlog_set_config db_log_dsync off\n";
        BackupTest::SetUp();
    }

    StandingClock& clock()
    {
        return *this;
    }

    /** Writes items "fill" until that many further log files have begun. */
    void fillMore(int files)
    {
        const auto last = [this] { return *LogFiles::numbersIn(home()).rbegin(); };
        for (const auto end = last() + static_cast<std::uint32_t>(files); last() < end; ++written_) {
            const QVariantMap reply = put("fill", QString::number(written_), {{"v", textValue(QString(30'000, 'v'))}});
            ASSERT_EQ(reply.value("__rc"), QVariant(200LL));
        }
    }
    int written() const
    {
        return written_;
    }

    /** Ends the shipping. After a stop, checkpoints would remove log files that have not been shipped. */
    void endShipping()
    {
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    }

    /** Ships the log files that a checkpoint makes unnecessary, and ends the shipping. */
    void ship(const std::string& target)
    {
        reopen();
        const auto first = *LogFiles::numbersIn(home()).rbegin();
        EXPECT_EQ(act("UpdateDbBackup", target), accepted());
        EXPECT_TRUE(waitUntil([&] { return *LogFiles::numbersIn(home()).begin() + 1 >= first; })) << server_.logText();
        EXPECT_TRUE(waitUntil([&] { return backupState() == "shipping"; }));
        endShipping();
    }

    std::string backup() const
    {
        return pathOf("backup");
    }
    std::string target() const
    {
        return pathOf("restored");
    }

    /** The range keys of the items "k" in a restored directory. */
    std::vector<std::string> keysIn(const std::string& directory)
    {
        std::vector<std::string> keys;
        for (const auto& [key, item] : itemsOf(tableIn(directory), {"k"}))
            keys.push_back(key.second.toStdString());
        EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(directory)}}), okReply());
        return keys;
    }

private:
    int written_ = 0;
};

#endif
