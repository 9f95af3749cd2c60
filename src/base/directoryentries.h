#ifndef QUORVA_BASE_DIRECTORYENTRIES_H
#define QUORVA_BASE_DIRECTORYENTRIES_H

#include <filesystem>
#include <system_error>

namespace Base {

/**
 * Calls `visit`, an `int(const std::filesystem::directory_entry&)`, for each entry of a directory, not recursively,
 * until it returns non-zero. Returns that result, otherwise 0 or the errno value of a failed read.
 */
template <typename Visit> [[nodiscard]] int forEachEntry(const std::filesystem::path& directory, Visit visit)
{
    std::error_code error;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        if (const int rc = visit(*entry))
            return rc;
    }
    return error.value();
}

} // namespace Base

#endif
