#include "net/bdbioworker.h"

#include "base/trythread.h"
#include "log/log.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

BDBIOWorker::BDBIOWorker(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments,
                         BDBIOMaster* master)
    : master_(master), environments_(environments), envTableCapacity_(envTableCapacity),
      connectionTableCapacity_(connectionTableCapacity)
{}

BDBIOWorker::~BDBIOWorker() = default;

bool BDBIOWorker::startThread()
{
    thread_ = Base::tryThread([this] { run(); });
    return thread_.joinable();
}

void BDBIOWorker::waitStopped()
{
    if (thread_.joinable())
        thread_.join();
}

int BDBIOWorker::configureSocket(int socket)
{
    if (socket <= 0) {
        LOG_WARN << "invalid sd " << socket;
        return -1;
    }
    const int enabled = 1;
    if (setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &enabled, sizeof enabled) != 0) {
        const int error = lastError();
        LOG_WARN << "setsockopt failed sd " << socket << " error " << error;
    }
    return 0;
}
