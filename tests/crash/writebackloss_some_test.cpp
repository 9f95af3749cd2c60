// Losses of some of what was not synchronised, at random.
#include "writebacklossfixture.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>

namespace {

TEST_F(WriteBackLossTest, SomeIsWholeBlocksOfEither)
{
    std::minstd_rand random(1);
    std::set<std::string> outcomes;
    for (int i = 0; i < 120; ++i) {
        // What is left after a loss is durable, so each round starts from scratch.
        std::filesystem::remove(file("file"));
        std::ofstream(file("file")) << std::string(4096 * 4, 'd');
        loss_.settle(file("file"));
        std::ofstream(file("file"), std::ios::in).seekp(4096 * 2) << std::string(4096 * 4, 'w');
        loss_.loseSome(&random);
        std::string shape;
        const std::string bytes = readFile(file("file"));
        for (std::size_t at = 0; at < bytes.size(); at += 4096) {
            const char first = bytes[at];
            EXPECT_EQ(bytes.substr(at, 4096), std::string(4096, first));
            shape += first == '\0' ? '0' : first;
        }
        outcomes.insert(shape);
        loss_.loseAll();
        EXPECT_EQ(readFile(file("file")), bytes) << "what was left is durable";
    }
    // Two blocks are overwritten and two appended: of each pair none, either one or both are written back.
    EXPECT_EQ(outcomes,
              (std::set<std::string>{"dddd", "ddwd", "dddw", "ddww", "ddddw", "ddwdw", "dddww", "ddwww", "dddd0w",
                                     "ddwd0w", "dddw0w", "ddww0w", "ddddww", "ddwdww", "dddwww", "ddwwww"}));
}

TEST_F(WriteBackLossTest, SomeNamesAreThoseOfBeforeOrAfter)
{
    std::minstd_rand random(1);
    std::set<std::string> outcomes;
    for (int i = 0; i < 100; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(strict_))
            std::filesystem::remove(entry.path());
        for (const char* name : {"moved", "removed", "replaced"})
            std::ofstream(strict_ + '/' + name) << name[2];
        loss_.settle(strict_);
        std::filesystem::rename(strict_ + "/moved", strict_ + "/to");
        std::filesystem::remove(strict_ + "/removed");
        std::ofstream(strict_ + "/fresh") << 'x';
        std::filesystem::rename(strict_ + "/fresh", strict_ + "/replaced");
        loss_.loseSome(&random);
        std::string names;
        for (const auto& [name, bytes] : left())
            names += name + (name == "replaced" && bytes != "p" ? "* " : " ");
        outcomes.insert(names);
    }
    std::set<std::string> expected;
    for (const std::string moved : {"moved ", "to ", "moved to "}) {
        for (const std::string removed : {"", "removed "}) {
            for (const std::string replaced : {"replaced ", "replaced* "}) {
                const bool both = moved == "moved to ";
                expected.insert(both ? "moved " + removed + replaced + "to "
                                     : (moved == "moved " ? moved + removed + replaced : removed + replaced + moved));
            }
        }
    }
    EXPECT_EQ(outcomes, expected);
}

} // namespace
