#ifndef QUORVA_BASE_KERNELFILESYSTEMS_H
#define QUORVA_BASE_KERNELFILESYSTEMS_H

#include <filesystem>

namespace Base {

/**
 * True for a directory that shows the state of the kernel, such as /proc, or is below one: nobody stores files there,
 * and a walk that follows links finds no end. False also for one that does not exist.
 */
bool isOfKernel(const std::filesystem::path& directory);

} // namespace Base

#endif
