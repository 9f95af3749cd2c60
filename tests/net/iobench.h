#ifndef QUORVA_TESTS_NET_IOBENCH_H
#define QUORVA_TESTS_NET_IOBENCH_H

#include "net/bdbiomaster.h"
#include "net/bdbioworker_linux.h"
#include "net/bdbreqhandler_linux.h"

#include <gtest/gtest.h>

/**
 * The I/O layer without a listening socket, for sockets that a test makes. `worker` does not run unless a test starts
 * it; init() of the master starts others, which serve the connections that `worker` has associated.
 */
struct IoBench {
    ~IoBench()
    {
        master.port().stop();
        worker.waitStopped();
        master.pool().waitForDone(); // requests may answer through `worker`
    }

    BDBReqHandler_linux* createHandler(int socket)
    {
        return static_cast<BDBReqHandler_linux*>(worker.createHandler(socket));
    }

    /** A handler of the socket, whose events `worker` has associated with the port. */
    BDBReqHandler_linux* associatedHandler(int socket)
    {
        BDBReqHandler_linux* handler = createHandler(socket);
        EXPECT_EQ(worker.associate(handler), 0);
        return handler;
    }

    BDBObjTable environments{8192};
    BDBIOMaster master{1024, 256, &environments};
    BDBIOWorker_linux worker{1024, 256, &environments, &master};
};

#endif
