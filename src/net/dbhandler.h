#ifndef QUORVA_NET_DBHANDLER_H
#define QUORVA_NET_DBHANDLER_H

#include <QRunnable>

class BDBIOWorker;
class BDBReqHandler;

/**
 * Runs one complete request and posts its reply: as a task of the database pool, which deletes it after running it, or
 * on the I/O worker that received the request.
 */
class DBHandler final : public QRunnable {
public:
    /** Neither is owned; this has exclusive use of `handler` from here until the reply is posted. */
    DBHandler(BDBReqHandler* handler, BDBIOWorker* worker);

    /** Runs the request and posts its reply; closes the connection if either fails. */
    void run() override;

    /** The same for a short request. False for a long one, which is left unchanged for the pool. */
    [[nodiscard]] bool runIfShort();

private:
    void finish(int rc);
    void answer(int flushed);
    void closeConnection();

    BDBReqHandler* handler_;
    BDBIOWorker* worker_;
};

#endif
