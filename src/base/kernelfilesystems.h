#ifndef QUORVA_BASE_KERNELFILESYSTEMS_H
#define QUORVA_BASE_KERNELFILESYSTEMS_H

#include <filesystem>

namespace Base {

/**
 * True for a directory in a virtual file system of the kernel, such as /proc: no data is stored there, and a walk that
 * follows links would not end. False if the directory does not exist.
 */
bool isOfKernel(const std::filesystem::path& directory);

} // namespace Base

#endif
