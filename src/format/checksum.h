#ifndef QUORVA_FORMAT_CHECKSUM_H
#define QUORVA_FORMAT_CHECKSUM_H

#include <cstdint>
#include <filesystem>
#include <string_view>

/**
 * CRC-64 with the reflected polynomial of ECMA-182, as the lists of backups hold it: finds damage and files that were
 * mixed up, not somebody who means to deceive. On disk, do not change. One thread at a time.
 */
class Checksum {
public:
    /** Takes the next bytes in; they may come in pieces of any length. */
    void add(std::string_view bytes);

    /** Adds `size` bytes of a file. 0 or an errno value; ENODATA when the file ends before. */
    [[nodiscard]] int addFile(const std::filesystem::path& file, std::uint64_t offset, std::uint64_t size);

    /** Of all that was added so far. */
    std::uint64_t value() const { return ~remainder_; }

    static std::uint64_t of(std::string_view bytes);

private:
    std::uint64_t remainder_ = ~std::uint64_t{0};
};

#endif
