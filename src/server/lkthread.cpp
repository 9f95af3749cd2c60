#include "server/lkthread.h"

#include "log/log.h"
#include "server/lockfile.h"

#include <QCoreApplication>

LKThread::LKThread(QCoreApplication* application) : application_(application)
{
    start();
}

void LKThread::run()
{
    const QByteArray name = qgetenv("OSTRIK_LOCKFILE");
    LOG_DEBUG << "waiting for " << name;
    LockFile parent(name);
    if (!parent.openExisting()) {
        // Kept: without its parent's file the server keeps running, as when started by hand.
        LOG_ERROR(LogOrigin::Server, 144) << "CreateMutex failed with error " << parent.error();
        return;
    }
    if (!parent.waitUntilFree()) {
        LOG_ERROR(LogOrigin::Server, 149) << "WaitForSingleObject failed with error code: " << parent.error();
        return;
    }
    LOG_WARN << "Quorva exiting";
    // Queued, because the parent may end before the event loop runs, and an exit requested then would be lost.
    QMetaObject::invokeMethod(application_, "quit", Qt::QueuedConnection);
}
