#ifndef QUORVA_SERVER_LKTHREAD_H
#define QUORVA_SERVER_LKTHREAD_H

#include <QThread>

class QCoreApplication;

/**
 * Watches the parent process: once it releases the lock file named by OSTRIK_LOCKFILE, or dies holding it, the
 * application's event loop is asked to exit with 0. Without that file there is no watch and the server keeps running.
 */
class LKThread final : public QThread {
public:
    /** Starts the thread. `application` is not owned and must outlive it; it only receives posted events. */
    explicit LKThread(QCoreApplication* application);

protected:
    void run() override;

private:
    QCoreApplication* application_;
};

#endif
