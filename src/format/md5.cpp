#include "format/md5.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace {

constexpr std::size_t BlockSize = 64;
constexpr std::size_t LengthSize = 8; // the length in bits, at the end of the last block

/** The four words A, B, C, D that every block of 64 bytes changes. */
using State = std::array<std::uint32_t, 4>;

constexpr State InitialState{0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

/** One constant for each of the 64 steps: the integer part of 2^32 * abs(sin(step + 1)), the angle in radians. */
constexpr std::array<std::uint32_t, 64> Sines{
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

/** The rotation of each step: four amounts in turn in each of the four rounds. */
constexpr int Rotations[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

std::uint32_t littleEndianWord(const unsigned char* bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

void addBlock(State& state, const unsigned char* block)
{
    auto [a, b, c, d] = state;
#pragma GCC unroll 64
    for (std::size_t step = 0; step < 64; ++step) {
        const std::size_t round = step / 16;
        std::uint32_t mixed = 0;
        std::size_t word = 0;
        switch (round) {
        case 0:
            mixed = (b & c) | (~b & d);
            word = step;
            break;
        case 1:
            mixed = (b & d) | (c & ~d);
            word = (5 * step + 1) % 16;
            break;
        case 2:
            mixed = b ^ c ^ d;
            word = (3 * step + 5) % 16;
            break;
        default:
            mixed = c ^ (b | ~d);
            word = 7 * step % 16;
        }
        const std::uint32_t sum = a + mixed + littleEndianWord(block + 4 * word) + Sines[step];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, Rotations[round][step % 4]);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

/** The least significant byte first. */
template <typename Word> void store(Word word, unsigned char* bytes)
{
    for (std::size_t i = 0; i < sizeof(Word); ++i)
        bytes[i] = static_cast<unsigned char>(word >> (8 * i));
}

} // namespace

std::array<unsigned char, 16> Md5::digest(std::string_view data)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.data());
    const std::size_t size = data.size();
    const std::size_t whole = size - size % BlockSize;

    State state = InitialState;
    for (std::size_t done = 0; done < whole; done += BlockSize)
        addBlock(state, bytes + done);

    // The rest of the data, a 1 bit, zeros, and the length; a second block if the first has no room for the length.
    std::array<unsigned char, 2 * BlockSize> tail{};
    const std::size_t left = size - whole;
    std::copy_n(bytes + whole, left, tail.begin());
    tail[left] = 0x80;
    const std::size_t tailSize = left + 1 + LengthSize <= BlockSize ? BlockSize : 2 * BlockSize;
    store(static_cast<std::uint64_t>(size) * 8, tail.data() + tailSize - LengthSize);
    for (std::size_t done = 0; done < tailSize; done += BlockSize)
        addBlock(state, tail.data() + done);

    std::array<unsigned char, 16> digest;
    for (std::size_t i = 0; i < state.size(); ++i)
        store(state[i], digest.data() + 4 * i);
    return digest;
}
