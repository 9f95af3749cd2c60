#include "net/bdbserver.h"

BDBServer::BDBServer(int envTableCapacity, int connectionTableCapacity, int thirdSetting, int fourthSetting,
                     int workers, int poolMax)
    : thirdSetting_(thirdSetting), fourthSetting_(fourthSetting), environments_(RegistryCapacity),
      master_(envTableCapacity, connectionTableCapacity, &environments_)
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
