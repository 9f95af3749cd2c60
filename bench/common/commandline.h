#ifndef QUORVA_BENCH_COMMON_COMMANDLINE_H
#define QUORVA_BENCH_COMMON_COMMANDLINE_H

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Bench {

/**
 * The command line of a benchmark program. It hides the parser's headers, whose inline functions take longer to compile
 * than a whole program, so that they are compiled only once. Variables hold the defaults, which the help shows, and
 * must outlive parse().
 */
class CommandLine {
public:
    explicit CommandLine(const std::string& description);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /** A required positional argument. */
    void argument(const std::string& title, std::string& value, const std::string& help);

    void option(const std::string& name, std::string& value, const std::string& help);
    void option(const std::string& name, int& value, const std::string& help);
    void option(const std::string& name, unsigned& value, const std::string& help);
    void option(const std::string& name, double& value, const std::string& help);

    /** An option whose value is one of `choices`. */
    void choice(const std::string& name, std::string& value, const std::vector<std::string>& choices,
                const std::string& help);

    void flag(const std::string& name, bool& value, const std::string& help);

    /** Returns false if the program should exit with `*exitCode`: the help or an error message has been printed. */
    [[nodiscard]] bool parse(int argc, char** argv, int* exitCode);

private:
    std::unique_ptr<CLI::App> app_;
};

} // namespace Bench

#endif
