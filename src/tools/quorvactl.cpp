#include "base/standarddescriptors.h"
#include "tools/commandline.h"
#include "tools/completion.h"
#include "tools/shell.h"

#include <cstdio>
#include <exception>

#include <unistd.h>

namespace {

constexpr const char* Version = "quorvactl " QUORVA_VERSION;

int run(std::vector<std::string> words)
{
    Ctl::CommandLine line(Version);
    // Not a command that help lists: the shells' completion scripts pass the words of a command line.
    if (!words.empty() && words.front() == "__complete") {
        words.erase(words.begin());
        return Completions::print(line.parser(), words);
    }
    const bool isInteractive = ::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0;
    if (const std::optional<int> code = line.parse(words, isInteractive))
        return *code;
    return line.hasCommand() ? line.run() : Ctl::Shell(Version, line.server()).run();
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
