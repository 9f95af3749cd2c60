#ifndef QUORVA_TOOLS_FILECOPY_H
#define QUORVA_TOOLS_FILECOPY_H

#include "format/checksum.h"

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace Ctl {

/** Computes the checksum of the first bytes of a file while it is read from the beginning. */
class LeadingChecksum {
public:
    explicit LeadingChecksum(std::uint64_t size) : missing_(size) {}

    void add(std::string_view bytes)
    {
        bytes = bytes.substr(0, missing_);
        checksum_.add(bytes);
        missing_ -= bytes.size();
    }

    /** Also false if the file had fewer bytes. */
    bool is(std::uint64_t checksum) const { return missing_ == 0 && checksum_.value() == checksum; }

private:
    std::uint64_t missing_;
    Checksum checksum_;
};

/**
 * Copies a file to one that must not exist, passing its bytes to `leading`. Returns 0 or an errno value; EINTR when an
 * Interruption is requested. The copy functions of the standard library report a full disk as an input/output error.
 */
[[nodiscard]] int copyFile(const std::filesystem::path& from, const std::filesystem::path& to,
                           LeadingChecksum* leading);

} // namespace Ctl

#endif
