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
 * The real server as a child process, with a temporary directory of its own for its log and a test's environments.
 *
 *     ServerProcess server;
 *     ASSERT_TRUE(server.start());
 *     EXPECT_EQ(server.request("DeleteTable", {{"TableName", "none|t"}})["__rc"], 200);
 *
 * Its parent-lifetime file is held by the test process, so no server outlives a test that was killed. The destructor
 * kills and reaps it, and fails the test when it ended without being asked, or when a sanitizer reported anything.
 * For one thread at a time.
 */
class ServerProcess {
public:
    static constexpr std::chrono::milliseconds Deadline = std::chrono::seconds(60);

    struct Setup {
        /** Follow "-p PORT -d LOGFILE". */
        std::vector<std::string> arguments{};
        /** Added to the environment of the test, or replacing what is there. */
        std::map<std::string, std::string> environment{};
        /** Taken out of the environment, "OSTRIK_LOCKFILE" of ours included. */
        std::vector<std::string> unset{};
        /** False: no "-d", the log is standard error; logText() reads it there. */
        bool logFile = true;
        /** Words in front of the server's own, such as {"/bin/sh", "-c", "ulimit -n 99; exec \"$@\"", "sh"}. */
        std::vector<std::string> wrapper{};
    };

    ServerProcess() : ServerProcess(Setup{}) {}
    explicit ServerProcess(Setup setup);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /**
     * Starts the server on a free port and waits until it listens. False, with a test failure that shows what it wrote,
     * when it does not. May be called again once the server has ended: a new server on the same directory and log file.
     */
    [[nodiscard]] bool start();

    /**
     * Starts the server with exactly these arguments (no port, no log file of ours) and returns at once; for starts
     * that are meant to fail. The log is read from logPath() when that exists, else from standard error.
     */
    [[nodiscard]] bool launch(const std::vector<std::string>& arguments);

    /** Sends the server a signal; no test failure when it ends by that. Reap it with waitForExit(). */
    void kill(int signal = SIGKILL);

    /**
     * Waits for the end: the exit status, or the negative number of the signal that ended it. Nothing when it still
     * runs at the deadline. Calling this tells that the end is expected.
     */
    [[nodiscard]] std::optional<int> waitForExit(std::chrono::milliseconds deadline = Deadline);

    /** False once it has ended, reaped or not. */
    [[nodiscard]] bool isRunning();

    int port() const { return port_; }
    pid_t pid() const { return pid_; }

    /** A directory that lives as long as this object. */
    const std::string& directory() const { return directory_.path(); }
    /**
     * Creates `name` in directory(), for an environment. One that is removed while the server has it open ends the
     * server: it opens an environment with a checkpoint, and a checkpoint that fails is the end.
     */
    std::string makeDirectory(const std::string& name) const { return directory_.makeDirectory(name); }
    std::string logPath() const { return directory_.file("server.log"); }
    /** The file that the test process holds as the parent's lifetime lock. */
    std::string parentLockPath() const { return directory_.file("parent.lock"); }

    /** Lets go of the parent's lifetime lock, as a parent that ends does. */
    void releaseParentLock();

    /** What was logged since the latest start, whole and by line. A line keeps its time and level. */
    std::string logText() const;
    std::vector<std::string> logLines() const;
    /** True when a line holds `part` before the deadline, also when the server has ended by then. */
    [[nodiscard]] bool waitForLog(std::string_view part, std::chrono::milliseconds deadline = Deadline);

    /** Everything that came out of standard error since the latest start. */
    std::string errorText() const;
    std::string outputText() const;

    /** A new connection, closed and with a test failure when the server refuses it. */
    Client::WireConnection connect() const;

    /**
     * One exchange on a connection that is kept for the next: the reply, or an empty map and a test failure when none
     * came. "PutItem" and full names will do.
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
    int status_ = 0;            // of waitpid, once reaped_
    bool logFileNamed_ = false; // the latest start logs to logPath()
    std::size_t logStart_ = 0;  // where the latest start begins in it
    Client::WireConnection connection_;
};

#endif
