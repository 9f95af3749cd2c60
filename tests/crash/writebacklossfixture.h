#ifndef QUORVA_TESTS_CRASH_WRITEBACKLOSSFIXTURE_H
#define QUORVA_TESTS_CRASH_WRITEBACKLOSSFIXTURE_H

#include "writebackloss.h"

#include "support/directorycontents.h"
#include "support/files.h"
#include "support/programrun.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

/** The directory of an environment and a strict one, and programs that write there. */
class WriteBackLossTest : public testing::Test {
protected:
    using Files = std::map<std::string, std::string>; // by relative path

    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    }

    /**
     * Runs Python statements: `path` is a file in the environment's directory, `strict` is the strict directory, make()
     * writes a file without synchronising it, and sync() synchronises a file or directory.
     */
    void run(const std::string& statements, const std::map<std::string, std::string>& more = {})
    {
        std::map<std::string, std::string> variables = loss_.environment();
        variables.insert(more.begin(), more.end());
        std::vector<std::string> arguments;
        for (const auto& [name, value] : variables)
            arguments.push_back(name + '=' + value);
        const std::string prologue = "import os\n"
                                     "path = '" +
                                     file("file") +
                                     "'\n"
                                     "strict = '" +
                                     strict_ +
                                     "'\n"
                                     "def make(name, text):\n"
                                     "    f = os.open(name, os.O_WRONLY | os.O_CREAT | os.O_TRUNC)\n"
                                     "    os.write(f, text)\n"
                                     "    os.close(f)\n"
                                     "def sync(name):\n"
                                     "    f = os.open(name, os.O_RDONLY)\n"
                                     "    os.fsync(f)\n"
                                     "    os.close(f)\n";
        arguments.insert(arguments.end(), {"python3", "-c", prologue + statements});
        const ProgramRun result = runProgram("/usr/bin/env", arguments);
        EXPECT_EQ(result.status, 0) << result.error;
    }

    std::string file(const std::string& name) const
    {
        return tracked_ + '/' + name;
    }

    /** The contents of the strict directory: relative paths, with the bytes of files. */
    std::map<std::string, std::string> left() const
    {
        return contentsOf(strict_);
    }

    TempDir directory_;
    const std::string tracked_ = directory_.makeDirectory("tracked");
    const std::string strict_ = directory_.makeDirectory("strict");
    WriteBackLoss loss_{{.environment = tracked_, .strict = strict_, .state = directory_.makeDirectory("durable")}};
};

#endif
