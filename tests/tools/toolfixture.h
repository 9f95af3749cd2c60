#ifndef QUORVA_TESTS_TOOLS_TOOLFIXTURE_H
#define QUORVA_TESTS_TOOLS_TOOLFIXTURE_H

#include "complaints.h"
#include "exitstatus.h"
#include "support/quorvactl.h"

#include <QCryptographicHash>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

/** A server with the table `table()`, whose keys are "h" and "r", and the tool. */
class ToolTest : public QuorvactlTest {
protected:
    using QuorvactlTest::QuorvactlTest;

    void SetUp() override
    {
        QuorvactlTest::SetUp();
        createTable(tableName());
    }

    std::string table(const char* name = "t") const { return tableName(name).toStdString(); }

    /** Expects a run to succeed with this output. */
    void expectOutput(const std::vector<std::string>& arguments, const std::string& output,
                      const ProgramFiles& files = {}) const
    {
        const ProgramRun run = quorvactl(arguments, files);
        EXPECT_EQ(run.status, Ok) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, output) << testing::PrintToString(arguments);
        EXPECT_EQ(run.error, "") << testing::PrintToString(arguments);
    }

    /** Expects a run to fail with this on standard error and nothing on standard output. */
    void expectFailure(const std::vector<std::string>& arguments, int status, const std::string& error,
                       const ProgramFiles& files = {}) const
    {
        const ProgramRun run = quorvactl(arguments, files);
        EXPECT_EQ(run.status, status) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, "") << testing::PrintToString(arguments);
        EXPECT_EQ(run.error, error) << testing::PrintToString(arguments);
    }

    /** Makes the server fail on items of this hash key, and of the few that share its data file. To be called before
     * their first use. */
    void breakHashKey(const QByteArray& hash) const
    {
        const QByteArray digest = QCryptographicHash::hash(hash, QCryptographicHash::Md5);
        std::filesystem::create_directory(home() + "/t_" + digest.mid(3, 1).toHex().toStdString() + ".db");
    }

    /** A file next to the server's log. */
    std::string pathOf(const std::string& name) const { return server_.directory() + '/' + name; }

    std::string writeFile(const std::string& name, const std::string& content) const
    {
        std::ofstream(pathOf(name), std::ios::binary) << content;
        return pathOf(name);
    }
};

#endif
