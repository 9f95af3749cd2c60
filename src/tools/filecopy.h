#ifndef QUORVA_TOOLS_FILECOPY_H
#define QUORVA_TOOLS_FILECOPY_H

#include "format/checksum.h"

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace Ctl {

/** Takes the checksum of the first bytes of a file that is read from its beginning. */
class LeadingChecksum {
public:
    explicit LeadingChecksum(std::uint64_t size) : missing_(size) {}

    void add(std::string_view bytes)
    {
        bytes = bytes.substr(0, missing_);
        checksum_.add(bytes);
        missing_ -= bytes.size();
    }

    /** False also when there were fewer bytes. */
    bool is(std::uint64_t checksum) const { return missing_ == 0 && checksum_.value() == checksum; }

private:
    std::uint64_t missing_;
    Checksum checksum_;
};

/**
 * Copies a file to one that is not there yet, and hands its bytes to `leading`. 0 or an errno value; EINTR when an
 * Interruption is requested. The copy functions of the standard library report a full disk as an input/output error.
 */
[[nodiscard]] int copyFile(const std::filesystem::path& from, const std::filesystem::path& to,
                           LeadingChecksum* leading);

} // namespace Ctl

#endif
