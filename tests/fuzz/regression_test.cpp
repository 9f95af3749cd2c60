/* Runs every input in the repository through its fuzz target: the corpora, and all inputs that ever failed. */
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

// The targets under their distinct names: FUZZ_TARGETS is a list of X(name).
#define X(name) extern "C" int fuzz_##name(const std::uint8_t* data, std::size_t size);
FUZZ_TARGETS
#undef X

namespace {

namespace fs = std::filesystem;

struct Target {
    const char* name;
    int (*run)(const std::uint8_t* data, std::size_t size);
};

constexpr Target Targets[] = {
#define X(name) {#name, fuzz_##name},
    FUZZ_TARGETS
#undef X
};

std::vector<fs::path> inputsOf(const std::string& target)
{
    std::vector<fs::path> inputs;
    for (const char* kind : {"corpus", "regressions"}) {
        std::error_code missing; // a target that never failed has none
        for (const auto& entry : fs::directory_iterator(fs::path(FUZZ_INPUTS) / kind / target, missing))
            inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

std::vector<std::uint8_t> contents(const fs::path& path)
{
    std::vector<std::uint8_t> bytes(fs::file_size(path));
    std::ifstream(path, std::ios::binary)
        .read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

class FuzzRegression : public testing::TestWithParam<Target> {};

TEST_P(FuzzRegression, NoInputFails)
{
    const std::vector<fs::path> inputs = inputsOf(GetParam().name);
    EXPECT_FALSE(inputs.empty());
    for (const fs::path& input : inputs) {
        std::cout << input.string() << std::endl; // an input that fails ends the process
        const std::vector<std::uint8_t> bytes = contents(input);
        EXPECT_EQ(GetParam().run(bytes.data(), bytes.size()), 0);
    }
}

TEST_P(FuzzRegression, NoInputAtAllIsFine)
{
    EXPECT_EQ(GetParam().run(nullptr, 0), 0);
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzRegression, testing::ValuesIn(Targets),
                         [](const auto& target) { return std::string(target.param.name); });

} // namespace
