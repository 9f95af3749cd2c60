#ifndef QUORVA_TESTS_TOOLS_RESTORECOMMANDFIXTURE_H
#define QUORVA_TESTS_TOOLS_RESTORECOMMANDFIXTURE_H

#include "support/backupfixture.h"

class RestoreCommand : public BackupTest {
protected:
    void SetUp() override
    {
        BackupTest::SetUp();
        put("k", "r", {{"a", textValue("x")}});
        put("k", "s", {{"a", textValue(QString(5000, 'y'))}});
        backUpTo(makeDirectory("backup"));
        stopBackup();
    }

    std::string backup() const { return pathOf("backup"); }
    std::string target() const { return pathOf("restored"); }

    /** Expects a restore to fail with this message and to change nothing. */
    void expectRefusal(const std::string& from, const std::string& to, const std::string& message)
    {
        const auto before = contentsOf(from);
        const bool existed = std::filesystem::exists(to);
        const auto there = contentsOf(to);
        const ProgramRun run = restore(from, to);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "quorvactl: " + message + '\n');
        EXPECT_EQ(contentsOf(from), before);
        EXPECT_EQ(std::filesystem::exists(to), existed);
        EXPECT_EQ(contentsOf(to), there);
    }

    /** Overwrites a part of a file in the backup. */
    void damage(const std::string& file, std::streamoff offset, std::size_t bytes) const
    {
        std::fstream stream(backup() + '/' + file, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(offset);
        const std::string nonsense(bytes, '\x5a');
        stream.write(nonsense.data(), static_cast<std::streamsize>(nonsense.size()));
        ASSERT_TRUE(stream.flush());
    }
};

#endif
