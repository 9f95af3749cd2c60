#include "support/serverprocess.h"

#include "protocol/endpoint.h"
#include "protocol/operations.h"
#include "support/files.h"
#include "support/heldport.h"
#include "support/lines.h"
#include "support/programrun.h"
#include "support/waituntil.h"
#include "json/jsonreader.h"
#include "json/jsonwriter.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <utility>

namespace {

/** How many ports to try, as another process may take the chosen one before the server does. */
constexpr int PortTries = 20;

std::size_t fileSize(const std::string& path)
{
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
}

} // namespace

ServerProcess::ServerProcess(Setup setup) : setup_(std::move(setup))
{
    parentLock_ = open(parentLockPath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (parentLock_ < 0 || flock(parentLock_, LOCK_EX | LOCK_NB) != 0)
        ADD_FAILURE() << "parent lock: " << std::strerror(errno);
}

ServerProcess::~ServerProcess()
{
    if (!reaped_) {
        if (isRunning())
            kill(SIGKILL);
        else if (!endExpected_)
            ADD_FAILURE() << "the server ended by itself: " << ending();
        (void)waitForExit(); // ignored: anything relevant has been reported above
    }
    releaseParentLock();
}

bool ServerProcess::start()
{
    for (int attempt = 0; attempt < PortTries; ++attempt) {
        port_ = HeldPort().number(); // free at the moment
        std::vector<std::string> arguments{"-p", std::to_string(port_)};
        if (setup_.logFile)
            arguments.insert(arguments.end(), {"-d", logPath()});
        arguments.insert(arguments.end(), setup_.arguments.begin(), setup_.arguments.end());
        if (!launch(arguments))
            return false;
        if (waitForLog("Server listening on "))
            return true;
        if (isRunning() || logText().find("bind failed sock ") == std::string::npos)
            break;
        (void)waitForExit(); // ignored: the port was taken, the next attempt uses another
    }
    ADD_FAILURE() << "the server did not start: " << ending();
    return false;
}

bool ServerProcess::launch(const std::vector<std::string>& arguments)
{
    if (!reaped_) {
        ADD_FAILURE() << "the server still runs, or nobody waited for its end";
        return false;
    }
    connection_.close();

    std::vector<std::string> words = setup_.wrapper;
    words.emplace_back(QUORVA_BINARY);
    words.insert(words.end(), arguments.begin(), arguments.end());
    logFileNamed_ = std::any_of(arguments.begin(), arguments.end(),
                                [&](const std::string& word) { return word.ends_with(logPath()); });
    logStart_ = fileSize(logPath());

    const std::string output = directory_.file("stdout");
    const std::string error = directory_.file("stderr");
    for (const std::string& earlier : {output, error})
        std::filesystem::remove(earlier);
    const std::string program = words.front();
    words.erase(words.begin());
    pid_ = startProgram(program, words, "/dev/null", output, error, childEnvironment());
    if (pid_ < 0)
        return false;
    reaped_ = false;
    endExpected_ = false;
    return true;
}

void ServerProcess::kill(int signal)
{
    endExpected_ = true;
    if (!reaped_ && ::kill(pid_, signal) != 0)
        ADD_FAILURE() << "kill: " << std::strerror(errno);
}

std::optional<int> ServerProcess::waitForExit(std::chrono::milliseconds deadline)
{
    endExpected_ = true;
    if (!waitUntil([this] { return !isRunning(); }, deadline))
        return std::nullopt;
    reap();
    return status_;
}

bool ServerProcess::isRunning()
{
    return !reaped_ && !hasEnded(pid_);
}

void ServerProcess::reap()
{
    if (reaped_)
        return;
    status_ = reapProgram(pid_);
    reaped_ = true;
    connection_.close();
    expectNoSanitizerReport("the server", errorText());
}

void ServerProcess::releaseParentLock()
{
    if (parentLock_ >= 0)
        close(parentLock_);
    parentLock_ = -1;
}

std::string ServerProcess::logText() const
{
    return logFileNamed_ ? readFile(logPath(), logStart_) : errorText();
}

std::vector<std::string> ServerProcess::logLines() const
{
    return linesOf(logText());
}

bool ServerProcess::waitForLog(std::string_view part, std::chrono::milliseconds deadline)
{
    bool found = false;
    (void)waitUntil( // ignored: `found` has the result
        [&] {
            const bool ended = !isRunning(); // checked before the text is read, so that its last line is not missed
            const std::string text = logText();
            const std::size_t at = text.find(part);
            found = at != std::string::npos && text.find('\n', at) != std::string::npos;
            return found || ended;
        },
        deadline);
    return found;
}

std::string ServerProcess::errorText() const
{
    return readFile(directory_.file("stderr"));
}

std::string ServerProcess::outputText() const
{
    return readFile(directory_.file("stdout"));
}

Client::WireConnection ServerProcess::connect() const
{
    Client::WireConnection connection;
    connection.setReceiveTimeout(static_cast<int>(Deadline.count()));
    EXPECT_TRUE(connection.open(QString::fromLatin1(Endpoint::Host), port_)) << connection.error().toStdString();
    return connection;
}

QVariantMap ServerProcess::request(const QByteArray& operation, const QVariantMap& body)
{
    if (!connection_.isOpen())
        connection_ = connect();
    QByteArray text;
    if (!connection_.isOpen() || !connection_.exchange(Operations::fullName(operation), Json::serialize(body), &text)) {
        ADD_FAILURE() << operation.toStdString() << ": no reply: " << connection_.error().toStdString();
        return {};
    }
    QVariant reply;
    if (!Json::parse(text, &reply))
        ADD_FAILURE() << operation.toStdString() << ": the reply is not JSON: " << text.toStdString();
    return reply.toMap();
}

std::vector<std::string> ServerProcess::childEnvironment() const
{
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const std::size_t sign = text.find('=');
        if (sign != std::string_view::npos)
            variables.insert_or_assign(std::string(text.substr(0, sign)), std::string(text.substr(sign + 1)));
    }
    for (const char* name : {"QUORVA_LOCKFILE", "QUORVA_ALLOW_USERS", "QUORVA_SLOW_MS"})
        variables.erase(name); // a test's server allows all users unless the test says otherwise
    variables.insert_or_assign("OSTRIK_LOCKFILE", parentLockPath());
    for (const auto& [name, value] : setup_.environment)
        variables.insert_or_assign(name, value);
    for (const std::string& name : setup_.unset)
        variables.erase(name);

    std::vector<std::string> result;
    for (const auto& [name, value] : variables)
        result.push_back(name + '=' + value);
    return result;
}

/** For failure messages: how it ended, or that it is running, and all of its output. */
std::string ServerProcess::ending() const
{
    std::ostringstream text;
    siginfo_t info{};
    if (!reaped_ && waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0)
        text << "it still runs";
    else
        text << (info.si_code == CLD_EXITED ? "exit status " : "signal ") << info.si_status;
    text << "\nlog:\n" << logText() << "\nstandard error:\n" << errorText();
    return text.str();
}
