#ifndef QUORVA_SERVER_LKTHREAD_H
#define QUORVA_SERVER_LKTHREAD_H

#include <QThread>

class QCoreApplication;

/**
 * Watches over the parent's life: once the parent lets go of the lock file named by OSTRIK_LOCKFILE, or dies holding
 * it, the application's event loop is asked to exit with 0. Without that file there is no watch and the server runs on.
 */
class LKThread final : public QThread {
public:
    /** Starts the thread. `application` is not owned and must outlive it; only requests are posted to it. */
    explicit LKThread(QCoreApplication* application);

protected:
    void run() override;

private:
    QCoreApplication* application_;
};

#endif
