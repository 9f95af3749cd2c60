#include "support/programrun.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

TEST(Library, ShowsTheNamesOfItsNamespaceAndNoOthers)
{
    const ProgramRun run = runProgram(
        "/usr/bin/nm", {"--dynamic", "--defined-only", "--demangle", "--format=posix", QUORVA_CLIENT_LIBRARY});
    ASSERT_EQ(run.status, 0) << run.error;
    std::istringstream lines(run.output);
    std::set<std::string> classes;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("QUORVA_CLIENT_1 ")) // the version itself
            continue;
        EXPECT_TRUE(line.starts_with("Quorva::")) << line;
        EXPECT_NE(line.find("@@QUORVA_CLIENT_1 "), std::string::npos) << line;
        const std::string name = line.substr(8, line.find('(') - 8);
        if (const std::size_t member = name.find("::"); member != std::string::npos)
            classes.insert(name.substr(0, member));
        else
            classes.insert(name);
    }
    EXPECT_EQ(classes, (std::set<std::string>{"Batch", "Connection", "ItemRange", "KeyCondition", "N", "NS", "Result",
                                              "S", "SS", "addValue", "defaultHost", "defaultPort", "deleteValue",
                                              "isAbsent", "isEqual", "number", "putValue", "text", "texts"}));
}
