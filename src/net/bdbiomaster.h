#ifndef QUORVA_NET_BDBIOMASTER_H
#define QUORVA_NET_BDBIOMASTER_H

#include "base/memorytrimmer.h"
#include "metrics/sharded.h"
#include "net/bdbreqhandler.h"
#include "net/completionport.h"
#include "net/dbthreadpool.h"

#include <QMutex>
#include <QVariantMap>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

class BDBIOWorker;
class BDBObjTable;

/**
 * Owns everything that serves connections: the I/O workers with the port they wait on, the database pool, and the
 * handlers of the open connections.
 *
 * Threads: the main thread constructs, initialises and destroys it; the accept thread adds connections; everything else
 * is for the workers and may be called by any thread.
 */
class BDBIOMaster {
public:
    /** See BDBReqHandler for the arguments. */
    BDBIOMaster(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments,
                const ServerView* view = nullptr);

    /**
     * Stops the workers, waits for running requests, and closes the connections. No connection may be added any more.
     */
    virtual ~BDBIOMaster();
    BDBIOMaster(const BDBIOMaster&) = delete;
    BDBIOMaster& operator=(const BDBIOMaster&) = delete;

    /** Starts `workers` I/O workers and sizes the database pool. Workers that cannot be started are skipped. */
    void init(int workers, int poolMax);

    /** Hands an accepted socket, or an invalid one, to the next worker in turn. For the accept thread only. */
    void addConnection(int socket);

    CompletionPort& port() { return port_; }
    DBThreadPool& pool() { return pool_; }
    /** For requests from operators (Requests::Duration::Apart): one thread, independent of the others. */
    DBThreadPool& operatorsPool() { return operatorsPool_; }
    const ServerView* view() const { return view_; }

    /** Adds "Connections" and "Threads" to the reply of a Status. Waits for nothing. */
    void describe(QVariantMap* status) const;

    /** Counts a connection that was closed instead of served. */
    void noteRefused() { refused_.add(); }

    Base::MemoryTrimmer& memory() { return memory_; }

    /** Called before a reply begins to wait outside of the pool, and after it was sent: the destructor waits for it. */
    void beginWaitingReply();
    void endWaitingReply();

    /** Takes ownership of a new connection until endConnection() or the master's destruction. Returns its handler. */
    BDBReqHandler* keepConnection(Base::Descriptor socket, std::unique_ptr<BDBReqHandler> handler);

    /** Closes the connection's socket and destroys its handler. */
    void endConnection(BDBReqHandler* handler);

protected:
    /** Creates a worker, not yet started. Null when out of memory. */
    virtual std::unique_ptr<BDBIOWorker> createWorker();

private:
    struct Connection {
        std::unique_ptr<BDBReqHandler> handler;
        Base::Descriptor socket; // closed first
    };

    Base::MemoryTrimmer memory_;
    CompletionPort port_;
    std::vector<std::unique_ptr<BDBIOWorker>> workers_; // the running ones; fixed after init
    DBThreadPool pool_;
    DBThreadPool operatorsPool_;
    BDBObjTable* const environments_; // the server's
    const ServerView* const view_;    // likewise; or null
    const int envTableCapacity_;
    const int connectionTableCapacity_;
    std::size_t nextWorker_ = 0; // the accept thread's

    Metrics::Counter accepted_; // connections
    Metrics::Counter refused_;

    std::atomic<int> waitingReplies_{1}; // one is the master's own, until its destructor waits for the others
    std::mutex repliesMutex_;
    std::condition_variable repliesSent_;
    bool allRepliesSent_ = false; // guarded by repliesMutex_

    mutable QMutex connectionsMutex_;
    std::unordered_map<BDBReqHandler*, Connection> connections_; // by handler; guarded by connectionsMutex_
};

#endif
