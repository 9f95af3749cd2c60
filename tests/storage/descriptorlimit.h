#ifndef QUORVA_TESTS_STORAGE_DESCRIPTORLIMIT_H
#define QUORVA_TESTS_STORAGE_DESCRIPTORLIMIT_H

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

/** For use in a child process, as the limit is that of the whole process. */

inline int openDescriptor()
{
    return open("/", O_PATH | O_CLOEXEC);
}

/** The descriptor that the next open gets. */
inline int lowestFreeDescriptor()
{
    const int descriptor = openDescriptor();
    close(descriptor);
    return descriptor;
}

/** Sets the process's limit so that exactly `left` descriptors are free, and fills the gaps between those in use. */
inline void limitDescriptors(int left)
{
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    constexpr int Highest = 1024; // no test has as many at this point
    int firstFree = 0;
    for (int descriptor = 0; descriptor < Highest; ++descriptor)
        if (fcntl(descriptor, F_GETFD) != -1)
            firstFree = descriptor + 1;
    while (lowestFreeDescriptor() < firstFree)
        (void)openDescriptor(); // fills a gap, and stays open
    limit.rlim_cur = static_cast<rlim_t>(firstFree + left);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

#endif
