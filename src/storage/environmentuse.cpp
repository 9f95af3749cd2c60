#include "storage/environmentuse.h"

#include "storage/bdbenv.h"
#include "storage/logflusher.h"

/** For a request that is not answered: the next flush covers its commits. */
void EnvironmentUse::leaveUnflushed()
{
    env_->logFlusher().adopt(std::exchange(unflushed_, {}));
}
