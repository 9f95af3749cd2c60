#include "net/bdbserver.h"

#include "request/slowrequests.h"
#include "storage/settings.h"

#include <db_cxx.h>
#include <unistd.h>

BDBServer::BDBServer(int envTableCapacity, int connectionTableCapacity, int thirdSetting, int fourthSetting,
                     int workers, int poolMax)
    : thirdSetting_(thirdSetting), fourthSetting_(fourthSetting), workers_(workers), poolMax_(poolMax),
      environments_(RegistryCapacity), master_(envTableCapacity, connectionTableCapacity, &environments_, this)
{
    master_.init(workers, poolMax);
}

BDBServer::~BDBServer()
{
    stop();
}

void BDBServer::incomingConnection(int socket)
{
    master_.addConnection(socket);
}

void BDBServer::describe(QVariantMap* status) const
{
    using Seconds = std::chrono::duration<double>;
    const QVariantMap options{
        {"Workers", workers_},
        {"PoolMaximum", poolMax_},
        {"StatLevel", Settings::statLevel()},
        {"CommitWithoutSync", Settings::txnCommitFlags() == DB_TXN_NOSYNC},
        {"LogFile", identity_.logFile},
        {"AllowUsers", identity_.allowUsers},
        {"SlowMilliseconds", static_cast<qlonglong>(SlowRequests::threshold().count())},
    };
    status->insert("Server", QVariantMap{{"Version", identity_.version},
                                         {"ProcessId", static_cast<qlonglong>(getpid())},
                                         {"StartTime", Seconds(startTime_.time_since_epoch()).count()},
                                         {"Uptime", Seconds(std::chrono::steady_clock::now() - started_).count()},
                                         {"Port", port()},
                                         {"Options", options}});
    master_.describe(status);
}
