#ifndef QUORVA_FORMAT_CHECKSUM_H
#define QUORVA_FORMAT_CHECKSUM_H

#include <cstdint>
#include <filesystem>
#include <string_view>

/**
 * CRC-64 with the reflected polynomial of ECMA-182, as used in backup lists: detects damage and mixed-up files, not
 * deliberate manipulation. On disk, do not change. One thread at a time.
 */
class Checksum {
public:
    /** Adds the next bytes, of any number. */
    void add(std::string_view bytes);

    /** Adds `size` bytes of a file. Returns 0 or an errno value; ENODATA if the file is too short. */
    [[nodiscard]] int addFile(const std::filesystem::path& file, std::uint64_t offset, std::uint64_t size);

    /** The checksum of all bytes added so far. */
    std::uint64_t value() const { return ~remainder_; }

    static std::uint64_t of(std::string_view bytes);

private:
    std::uint64_t remainder_ = ~std::uint64_t{0};
};

#endif
