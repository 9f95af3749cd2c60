#ifndef QUORVA_NET_DBHANDLER_H
#define QUORVA_NET_DBHANDLER_H

#include <QRunnable>

class BDBIOWorker;
class BDBReqHandler;

/** One complete request on its way through the database pool, which deletes this when it has run. */
class DBHandler final : public QRunnable {
public:
    /** Neither is owned; `handler` belongs to the pool from here on, until the reply is posted. */
    DBHandler(BDBReqHandler* handler, BDBIOWorker* worker);

    /** Runs the request and posts its reply; closes the connection when either fails. */
    void run() override;

private:
    BDBReqHandler* handler_;
    BDBIOWorker* worker_;
};

#endif
