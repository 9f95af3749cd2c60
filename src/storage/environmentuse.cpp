#include "storage/environmentuse.h"

#include "storage/bdbenv.h"
#include "storage/logflusher.h"

/** The request is not answered. */
void EnvironmentUse::leaveUnflushed()
{
    env_->logFlusher().adopt(std::exchange(unflushed_, {}));
}
