#ifndef QUORVA_TOOLS_RESOLVEDPATH_H
#define QUORVA_TOOLS_RESOLVEDPATH_H

#include <filesystem>
#include <system_error>

namespace Ctl {

/** An absolute path without a trailing "/", and with the symbolic links in its existing part resolved. */
inline std::filesystem::path resolvedPath(const std::filesystem::path& path)
{
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error).lexically_normal();
    if (!absolute.has_filename())
        absolute = absolute.parent_path();
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute : canonical;
}

/** Whether there is something with this name, including a dangling link. */
inline bool isThere(const std::filesystem::path& path)
{
    std::error_code unknown;
    return std::filesystem::exists(std::filesystem::symlink_status(path, unknown));
}

} // namespace Ctl

#endif
