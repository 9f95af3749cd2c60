#ifndef QUORVA_TESTS_SUPPORT_QUORVACTL_H
#define QUORVA_TESTS_SUPPORT_QUORVACTL_H

#include "support/programrun.h"
#include "support/serverprocess.h"
#include "support/tablefixture.h"

#include <string>
#include <vector>

/** The tool's arguments, preceded by the port of the server to talk to. */
inline std::vector<std::string> addressed(int port, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"--port", std::to_string(port)});
    return arguments;
}

/** Runs the tool to its end. The test's target defines QUORVACTL_BINARY and depends on quorvactl. */
inline ProgramRun quorvactl(const std::vector<std::string>& arguments, const ProgramFiles& files = {})
{
    return runProgram(QUORVACTL_BINARY, arguments, files);
}

/** A server and the tool. */
class QuorvactlTest : public TableTest {
protected:
    using TableTest::TableTest;

    std::vector<std::string> addressed(const std::vector<std::string>& arguments) const
    {
        return ::addressed(server_.port(), arguments);
    }

    ProgramRun quorvactl(const std::vector<std::string>& arguments, const ProgramFiles& files = {}) const
    {
        return ::quorvactl(addressed(arguments), files);
    }
};

#endif
