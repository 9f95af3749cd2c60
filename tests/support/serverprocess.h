#ifndef QUORVA_TESTS_SUPPORT_SERVERPROCESS_H
#define QUORVA_TESTS_SUPPORT_SERVERPROCESS_H

#include "client/wireconnection.h"
#include "support/tempdir.h"

#include <QByteArray>
#include <QVariantMap>

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/**
 * The real server as a child process, with its own temporary directory for the log and a test's environments.
 *
 *     ServerProcess server;
 *     ASSERT_TRUE(server.start());
 *     EXPECT_EQ(server.request("DeleteTable", {{"TableName", "none|t"}})["__rc"], 200);
 *
 * The test process holds its parent's lifetime lock, so no server outlives a killed test. The destructor kills and
 * reaps it, and fails the test when it ended unexpectedly or when a sanitizer reported anything. For one thread at a
 * time.
 */
class ServerProcess {
public:
    static constexpr std::chrono::milliseconds Deadline = std::chrono::seconds(60);

    struct Setup {
        /** Appended to "-p PORT -d LOGFILE". */
        std::vector<std::string> arguments{};
        /** Added to the test's environment, or replacing its variables. */
        std::map<std::string, std::string> environment{};
        /** Removed from the environment, including our "OSTRIK_LOCKFILE". */
        std::vector<std::string> unset{};
        /** False: no "-d"; the log goes to standard error, and logText() reads it there. */
        bool logFile = true;
        /**
         * Words that precede the server's command line, such as {"/bin/sh", "-c", "ulimit -n 99; exec \"$@\"", "sh"}.
         */
        std::vector<std::string> wrapper{};
    };

    ServerProcess() : ServerProcess(Setup{}) {}
    explicit ServerProcess(Setup setup);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /**
     * Starts the server on a free port and waits until it listens. Returns false, with a test failure that shows its
     * output, when it does not. May be called again once the server has ended, for a server with the same directory and
     * log file.
     */
    [[nodiscard]] bool start();

    /**
     * Starts the server with exactly these arguments (without our port and log file) and returns at once; for starts
     * that are meant to fail. The log is read from logPath() if that exists, else from standard error.
     */
    [[nodiscard]] bool launch(const std::vector<std::string>& arguments);

    /** Sends the server a signal, after which its exit is not a test failure. Reap it with waitForExit(). */
    void kill(int signal = SIGKILL);

    /**
     * Waits for the end. Returns the exit status, or the negative number of the signal that ended it; nothing when it
     * is still running at the deadline. Calling this marks the end as expected.
     */
    [[nodiscard]] std::optional<int> waitForExit(std::chrono::milliseconds deadline = Deadline);

    /** False once it has ended, reaped or not. */
    [[nodiscard]] bool isRunning();

    int port() const { return port_; }
    pid_t pid() const { return pid_; }

    /** A directory that exists as long as this object. */
    const std::string& directory() const { return directory_.path(); }
    /**
     * Creates `name` in directory(), for an environment. Removing it while the server has it open ends the server: it
     * opens an environment with a checkpoint, and a failed checkpoint is fatal.
     */
    std::string makeDirectory(const std::string& name) const { return directory_.makeDirectory(name); }
    std::string logPath() const { return directory_.file("server.log"); }
    /** The file that the test process locks as the parent's lifetime lock. */
    std::string parentLockPath() const { return directory_.file("parent.lock"); }

    /** Releases the parent's lifetime lock, as a parent does by exiting. */
    void releaseParentLock();

    /** The log since the latest start, as a whole and by line. Lines include time and level. */
    std::string logText() const;
    std::vector<std::string> logLines() const;
    /** Waits until a log line contains `part`. Returns false at the deadline or when the server ends without it. */
    [[nodiscard]] bool waitForLog(std::string_view part, std::chrono::milliseconds deadline = Deadline);

    /** All output on standard error since the latest start. */
    std::string errorText() const;
    std::string outputText() const;

    /** A new connection; closed, with a test failure, when the server refuses it. */
    Client::WireConnection connect() const;

    /**
     * One exchange on a connection that is kept for the next one. Returns the reply, or an empty map, with a test
     * failure, when none came. Takes names such as "PutItem" and full names.
     */
    QVariantMap request(const QByteArray& operation, const QVariantMap& body);

private:
    std::vector<std::string> childEnvironment() const;
    void reap();
    std::string ending() const;

    Setup setup_;
    TempDir directory_;
    int parentLock_ = -1;
    pid_t pid_ = -1;
    int port_ = 0;
    bool reaped_ = true;
    bool endExpected_ = true;
    int status_ = 0;            // as waitForExit() returns it, once reaped_
    bool logFileNamed_ = false; // the latest start named logPath() as the log file
    std::size_t logStart_ = 0;  // where the log of the latest start begins
    Client::WireConnection connection_;
};

#endif
