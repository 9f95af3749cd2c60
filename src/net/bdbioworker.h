#ifndef QUORVA_NET_BDBIOWORKER_H
#define QUORVA_NET_BDBIOWORKER_H

#include <thread>

class BDBIOMaster;
class BDBObjTable;
class BDBReqHandler;

/**
 * A thread that does the I/O of connections. Any worker may serve any connection; the master's round robin only decides
 * which one sets it up.
 *
 * The operations on a handler may be called by the thread that owns the handler at the time. They return 0 on success
 * and -1 on failure, after which the caller closes the connection.
 */
class BDBIOWorker {
public:
    /** See BDBReqHandler for the capacities. `environments` and `master` are not owned and outlive the worker. */
    BDBIOWorker(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments, BDBIOMaster* master);
    /** Its thread must have ended, see waitStopped(). */
    virtual ~BDBIOWorker();
    BDBIOWorker(const BDBIOWorker&) = delete;
    BDBIOWorker& operator=(const BDBIOWorker&) = delete;

    /** The thread's work. */
    virtual void run() = 0;

    /** Starts the thread. -1 if it is already running or cannot be started. */
    [[nodiscard]] virtual int startWorker() = 0;

    /** True from the start of the thread to the wait for its end. */
    bool isRunning() const { return thread_.joinable(); }

    /** Returns when the thread has ended; does not stop it. */
    void waitStopped();

    /** Sets an accepted socket up and waits for its first request. On failure the socket is closed. */
    [[nodiscard]] virtual int addConnection(int socket) = 0;

    /**
     * Adds the handler's socket to those the workers serve, and posts its first receive. On success they own the
     * handler.
     */
    [[nodiscard]] virtual int associate(BDBReqHandler* handler) = 0;

    /** Closes the handler's socket and deletes the handler. */
    virtual int closeConnection(BDBReqHandler* handler) = 0;

    /** Arms the socket for the next chunk of a request. On success the caller no longer owns the handler. */
    [[nodiscard]] virtual int postRead(BDBReqHandler* handler) = 0;

    /**
     * Sends the reply and then arms the socket for the next request. On success the caller no longer owns the handler.
     */
    [[nodiscard]] virtual int postWrite(BDBReqHandler* handler) = 0;

    /** Sets the options of an accepted socket. */
    [[nodiscard]] virtual int configureSocket(int socket);

    /** The calling thread's last system error. Read it before starting a log line, which may change it. */
    virtual int lastError() const = 0;

    /**
     * A handler for an accepted socket, which is closed with it; connections that are still open are closed by the
     * master's destructor. Null when out of memory; the socket is closed then.
     */
    virtual BDBReqHandler* createHandler(int socket) = 0;

    BDBIOMaster& master() const { return *master_; }

protected:
    /** Starts run(). False when no thread can be created. */
    [[nodiscard]] bool startThread();

    BDBObjTable* environments() const { return environments_; }
    int envTableCapacity() const { return envTableCapacity_; }
    int connectionTableCapacity() const { return connectionTableCapacity_; }

private:
    BDBIOMaster* const master_;
    BDBObjTable* const environments_;
    const int envTableCapacity_;
    const int connectionTableCapacity_;
    std::thread thread_; // started and joined by the main thread only
};

#endif
