#include "server/processsetup.h"

#include "base/freedmemory.h"
#include "base/standarddescriptors.h"
#include "server/hangupwatch.h"

#include <QString>

#include <sys/resource.h>

#include <csignal>
#include <cstdio>

namespace ProcessSetup {

namespace {

void handleQtMessage(QtMsgType, const QMessageLogContext&, const QString& message)
{
    // A batch that meets a table of another environment releases that environment's access lock, which its thread does
    // not hold. Qt leaves the lock unchanged, as it should, but warns each time.
    if (message == QLatin1StringView("QReadWriteLock::unlock: unlocking from a thread that did not lock"))
        return;
    std::fprintf(stderr, "%s\n", message.toUtf8().constData());
}

} // namespace

void ignoreFatalWriteSignals()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    (void)setrlimit(RLIMIT_NOFILE, &limit); // ignored: the lower limit works, too, for fewer tables
}

void installQtMessageHandler()
{
    qInstallMessageHandler(handleQtMessage);
}

void prepare()
{
    Base::openStandardDescriptors();
    ignoreFatalWriteSignals();
    HangupWatch::block();
    raiseDescriptorLimit();
    installQtMessageHandler();
    Base::keepFreedMemory();
}

} // namespace ProcessSetup
