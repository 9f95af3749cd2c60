#include "base/standarddescriptors.h"
#include "tools/commandline.h"
#include "tools/completion.h"

#include <cstdio>
#include <exception>

namespace {

constexpr const char* Version = "quorvactl " QUORVA_VERSION;

int run(std::vector<std::string> words)
{
    Ctl::CommandLine line(Version);
    // Not a command of the help: the scripts that complete command lines in a shell send the words of one.
    if (!words.empty() && words.front() == "__complete") {
        words.erase(words.begin());
        return Completions::print(line.parser(), words);
    }
    if (const std::optional<int> code = line.parse(words))
        return *code;
    return line.run();
}

} // namespace

int main(int argc, char** argv)
{
    Base::openStandardDescriptors();
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        // Commands throw only when out of memory. Even then a message is more useful than a core file.
        std::fprintf(stderr, "quorvactl: %s\n", error.what());
        return Ctl::ExitErrorReply;
    }
}
