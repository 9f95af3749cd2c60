#ifndef QUORVA_CLIENT_STANDARDDESCRIPTORS_H
#define QUORVA_CLIENT_STANDARDDESCRIPTORS_H

#include <fcntl.h>
#include <unistd.h>

namespace Client {

/**
 * For the beginning of a program: puts /dev/null in place of standard input, output and error as far as they are
 * closed, or else what is opened next, such as a connection, would be taken for them.
 */
inline void openStandardDescriptors()
{
    int descriptor = 0;
    do
        descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

} // namespace Client

#endif
