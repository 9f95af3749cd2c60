#include "format/partitions.h"

#include "format/md5.h"

#include <charconv>
#include <cstddef>
#include <system_error>

namespace Partitions {

namespace {

constexpr std::size_t DigestByte = 3; // that selects the partition; on disk, do not change
constexpr std::size_t UsualDigits = 4;
constexpr std::size_t LongKeyDigits = 5;

bool mayHold(unsigned partition, std::string_view key, std::size_t digits)
{
    std::size_t length = 0;
    if (key.size() < digits)
        return false;
    const auto [end, error] = std::from_chars(key.data(), key.data() + digits, length);
    if (error != std::errc() || end != key.data() + digits || length > key.size() - digits)
        return false;
    return ofHashKey(key.substr(digits, length)) == partition;
}

} // namespace

unsigned ofHashKey(std::string_view hashKey, unsigned count)
{
    return Md5::digest(hashKey)[DigestByte] & (count - 1);
}

bool mayHold(unsigned partition, std::string_view recordKey)
{
    return mayHold(partition, recordKey, UsualDigits) || mayHold(partition, recordKey, LongKeyDigits);
}

} // namespace Partitions
