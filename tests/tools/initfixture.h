#ifndef QUORVA_TESTS_TOOLS_INITFIXTURE_H
#define QUORVA_TESTS_TOOLS_INITFIXTURE_H

#include "support/files.h"
#include "toolfixture.h"

#include <filesystem>
#include <string>
#include <vector>

class Init : public ToolTest {
protected:
    static constexpr const char* Added = "log_set_config db_log_dsync off";
    static constexpr const char* PreparesLogs = "#quorva prepare_log_files on";
    static constexpr const char* RemovesLogs = "#quorva remove_unneeded_logs on";

    Init() : ToolTest({.arguments = {"-s", "20"}}) {}

    /** The tool without a server's address. */
    static ProgramRun init(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "init");
        return ::quorvactl(arguments);
    }

    static void expectDone(const std::vector<std::string>& arguments)
    {
        const ProgramRun run = init(arguments);
        EXPECT_EQ(run.status, Ok) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "");
    }

    static void expectRefused(const std::vector<std::string>& arguments, const std::string& error,
                              int status = ErrorReply)
    {
        const ProgramRun run = init(arguments);
        EXPECT_EQ(run.status, status) << testing::PrintToString(arguments);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "quorvactl: " + error + '\n');
    }

    static std::string config(const std::string& directory) { return readFile(directory + "/DB_CONFIG"); }

    static int mode(const std::string& path) { return static_cast<int>(std::filesystem::status(path).permissions()); }

    /** A statistic in the server's log that was printed after the environment was opened. */
    bool hasStatistic(const std::string& line) { return server_.waitForLog(line); }

    static std::string complaintOfTables(const std::string& directory, const std::string& changes)
    {
        return directory + " is a directory for tables already; nothing was changed" + changes;
    }
};

#endif
