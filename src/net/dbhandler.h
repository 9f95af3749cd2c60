#ifndef QUORVA_NET_DBHANDLER_H
#define QUORVA_NET_DBHANDLER_H

#include <QRunnable>

class BDBIOWorker;
class BDBReqHandler;

/** One complete request as a task of the database pool, which deletes it after running it. */
class DBHandler final : public QRunnable {
public:
    /** Neither is owned; the pool has exclusive use of `handler` from here until the reply is posted. */
    DBHandler(BDBReqHandler* handler, BDBIOWorker* worker);

    /** Runs the request and posts its reply; closes the connection when either fails. */
    void run() override;

private:
    BDBReqHandler* handler_;
    BDBIOWorker* worker_;
};

#endif
