#ifndef QUORVA_TESTS_HTTP_HTTPPROCESS_H
#define QUORVA_TESTS_HTTP_HTTPPROCESS_H

#include "support/tempdir.h"

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

/**
 * The real quorva-http as a child process, on a free port. The destructor kills and reaps it, and fails the test if it
 * ended unexpectedly, or if a sanitizer reported anything. For one thread at a time.
 */
class HttpProcess {
public:
    static constexpr std::chrono::milliseconds Deadline = std::chrono::seconds(60);

    HttpProcess() = default;
    ~HttpProcess();
    HttpProcess(const HttpProcess&) = delete;
    HttpProcess& operator=(const HttpProcess&) = delete;

    /**
     * Starts it for a server's port and waits until it listens. Returns false, with a test failure, if it does not. See
     * startProgram() for the environment.
     */
    [[nodiscard]] bool start(int serverPort, const std::vector<std::string>& arguments = {},
                             const std::vector<std::string>& environment = {});

    /** Sends a signal, after which its exit is not a test failure. */
    void kill(int signal = SIGTERM);

    /** The exit status, or the negative number of the signal that ended it; nothing if it runs at the deadline. */
    [[nodiscard]] std::optional<int> waitForExit();

    int port() const { return port_; }
    pid_t id() const { return pid_; }
    std::string errorText() const;

private:
    bool hasEnded() const;

    TempDir directory_;
    pid_t pid_ = -1; // -1 if there is none, or it has been reaped
    int port_ = 0;
    bool endExpected_ = false;
};

#endif
