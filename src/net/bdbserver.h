#ifndef QUORVA_NET_BDBSERVER_H
#define QUORVA_NET_BDBSERVER_H

#include "net/bdbiomaster.h"
#include "net/bdbsocket.h"
#include "request/serverview.h"
#include "storage/bdbobjtable.h"
#include "storage/bdbregistry.h"

#include <QString>
#include <QVariantMap>

#include <chrono>
#include <utility>

/** Facts from start-up for the reply to a Status. */
struct ServerIdentity {
    QString version;
    QString logFile;    // as given; empty: standard error
    QString allowUsers; // likewise; empty: all
};

/** The server: accepts connections and serves them. Owns the registry of environments and the I/O master. */
class BDBServer : public TcpServer, public ServerView {
public:
    /**
     * `envTableCapacity` is the size of an environment's table of database handles, `connectionTableCapacity` that of
     * each connection's table. `workers` I/O threads are started immediately, `poolMax` limits the database threads.
     * The remaining two settings are unused: no layer below reads them.
     */
    BDBServer(int envTableCapacity, int connectionTableCapacity, int thirdSetting, int fourthSetting, int workers,
              int poolMax);

    /** Stops accepting, waits for running requests, and closes the connections. */
    ~BDBServer() override;

    void incomingConnection(int socket) override;
    void refusedConnection() override { master_.noteRefused(); }

    /** Call before listen(). */
    void setIdentity(ServerIdentity identity) { identity_ = std::move(identity); }

    void describe(QVariantMap* status) const override;

    /** Makes the environments' commits durable before the process exits. */
    void flushEnvironments() { Registry::flushAll(&environments_); }

private:
    static constexpr int RegistryCapacity = 8192; // environments, one slot each

    [[maybe_unused]] const int thirdSetting_;
    [[maybe_unused]] const int fourthSetting_;
    const int workers_;
    const int poolMax_;
    const std::chrono::system_clock::time_point startTime_ = std::chrono::system_clock::now();
    const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
    ServerIdentity identity_;
    BDBObjTable environments_;
    BDBIOMaster master_; // uses the table, so it is destroyed first
};

#endif
