#ifndef QUORVA_TESTS_TOOLS_NIGHTLYFIXTURE_H
#define QUORVA_TESTS_TOOLS_NIGHTLYFIXTURE_H

#include "keepfixture.h"

#include <sys/file.h>

/** "backup nightly" of the fixture's directory, "env". */
class NightlyTest : public KeepTest {
protected:
    using KeepTest::KeepTest;

    void SetUp() override
    {
        KeepTest::SetUp();
        put("k", "first", {{"a", textValue("x")}});
    }

    std::string to() const { return pathOf("nightly"); }
    std::string series() const { return to() + "/env"; }

    std::vector<std::string> nightlyArguments(std::vector<std::string> more = {}) const
    {
        std::vector<std::string> arguments{"backup", "nightly", home(), "--to", to()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    ProgramRun nightly(const std::vector<std::string>& more = {}) const { return quorvactl(nightlyArguments(more)); }

    /** A run that must succeed. Returns the name of its copy. */
    std::string oneNight(const std::vector<std::string>& more = {})
    {
        const ProgramRun run = nightly(more);
        EXPECT_EQ(run.status, 0) << run.error;
        return copies().empty() ? std::string() : copies().back();
    }

    /** The names of the copies, complete or not. */
    std::vector<std::string> copies() const
    {
        std::vector<std::string> names = namesIn(series());
        std::erase_if(names, [](const std::string& name) { return !name.ends_with("Z"); });
        return names;
    }

    /** Has the next copy get a name that the test knows: the one after a copy that was never completed. */
    std::string nextCopy()
    {
        std::filesystem::create_directories(series() + "/2099-01-01T000000Z");
        return series() + "/2099-01-01T000001Z";
    }

    std::string shippedTo()
    {
        const QVariantMap reply = request("Quorva_1.DescribeBackup", {{"TableName", tableName()}});
        const QVariantMap backup = reply.value("Backup").toMap();
        return backup.value("State") == "shipping" ? backup.value("Target").toString().toStdString() : std::string();
    }
};

#endif
