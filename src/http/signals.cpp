#include "http/signals.h"

#include "base/streamfile.h"
#include "http/httpserver.h"

#include <csignal>
#include <cstdio>
#include <cstring>

#include <pthread.h>

namespace Http::Signals {

namespace {

sigset_t handledSignals()
{
    sigset_t handled;
    sigemptyset(&handled);
    sigaddset(&handled, SIGHUP);
    sigaddset(&handled, SIGTERM);
    sigaddset(&handled, SIGINT);
    return handled;
}

} // namespace

void block()
{
    const sigset_t handled = handledSignals();
    (void)pthread_sigmask(SIG_BLOCK, &handled, nullptr); // ignored: it only fails for an unknown mode
}

bool openLog(const std::string& file)
{
    const int error = file.empty() ? 0 : Base::continueIn(stderr, file.c_str());
    if (error != 0)
        std::fprintf(stderr, "quorva-http: cannot open the log file %s: %s\n", file.c_str(), std::strerror(error));
    return error == 0;
}

void watch(const std::string& logFile, HttpServer* server, std::latch* ended)
{
    sigset_t handled = handledSignals();
    int signal = 0;
    while (sigwait(&handled, &signal) == 0 && signal == SIGHUP) {
        if (!logFile.empty() && openLog(logFile)) // otherwise the log remains where it is
            std::fputs("quorva-http: log file reopened\n", stderr);
    }
    sigdelset(&handled, SIGHUP);
    (void)pthread_sigmask(SIG_UNBLOCK, &handled, nullptr);
    server->endRun();
    ended->wait();
}

} // namespace Http::Signals
