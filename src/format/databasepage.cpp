#include "format/databasepage.h"

#include <algorithm>
#include <array>

namespace DatabasePage {

bool isMagic(std::uint32_t number)
{
    constexpr std::array<std::uint32_t, 4> Magics = {0x053162, 0x061561, 0x042253, 0x074582}; // tree, hash, queue, heap
    return std::any_of(Magics.begin(), Magics.end(),
                       [number](std::uint32_t magic) { return number == magic || number == __builtin_bswap32(magic); });
}

} // namespace DatabasePage
