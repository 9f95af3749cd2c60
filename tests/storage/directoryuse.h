#ifndef QUORVA_TESTS_STORAGE_DIRECTORYUSE_H
#define QUORVA_TESTS_STORAGE_DIRECTORYUSE_H

#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

/** True when no environment holds the lock on its directory. */
inline bool isDirectoryFree(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool got = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    ::close(descriptor);
    return got;
}

#endif
