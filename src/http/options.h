#ifndef QUORVA_HTTP_OPTIONS_H
#define QUORVA_HTTP_OPTIONS_H

#include "protocol/endpoint.h"

#include <cstddef>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Http {

/** The command line of quorva-http. */
struct Options {
    static constexpr int NoPort = -1;

    int listen = 8000;
    std::string host = Endpoint::Host;
    int port = Endpoint::DefaultPort;
    int connectSeconds = 5;
    int receiveSeconds = 60;
    int threads = 64;
    std::size_t bodyBytes = 64 * 1024 * 1024;
    int keepAliveSeconds = 60;
    int transferSeconds = 30;
    std::vector<std::string> allowedHosts;
    bool limitsUsers = false;
    std::string allowedUsers; // also an empty list, which is refused
    int metricsOnly = NoPort;
    std::string logFile; // empty: standard error
    bool hasConsole = false;
    bool consoleWrites = false;
    std::vector<std::string> directories; // the first one is for names without a directory; the console shows all

    bool servesConsole() const { return hasConsole || consoleWrites; }

    /** Returns false when the program is to end with `*exitCode`: the help or a refusal has been printed. */
    [[nodiscard]] bool parse(int argc, char** argv, int* exitCode);

private:
    void declare(CLI::App* app);
};

} // namespace Http

#endif
