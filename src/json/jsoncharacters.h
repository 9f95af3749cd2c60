#ifndef QUORVA_JSON_JSONCHARACTERS_H
#define QUORVA_JSON_JSONCHARACTERS_H

#include <QByteArrayView>
#include <QStringView>

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <bit>
#include <emmintrin.h>
#endif

/**
 * The characters that need no escape in a JSON string: all but control characters, quote and backslash. Those of them
 * that are ASCII are called plain.
 */
namespace Json::Plain {

inline constexpr int BlockBytes = 16;

constexpr bool isPlain(char16_t character)
{
    return character >= u' ' && character < 0x80 && character != u'"' && character != u'\\';
}

/** The bytes that are counted. */
enum class Bytes {
    Plain,
    Literal, // plain ones and all that are not ASCII, as in UTF-8
};

template <Bytes kind> constexpr bool is(unsigned char byte)
{
    return isPlain(byte) || (kind == Bytes::Literal && byte >= 0x80);
}

#if defined(__SSE2__)
/** One bit for each of 16 bytes, lowest first: set if it is not of the kind. */
template <Bytes kind> unsigned others(__m128i bytes)
{
    // The quote becomes 0x20, and bytes below a space stay below it. A signed comparison: bytes that are not ASCII are
    // negative, and so below it as well.
    __m128i low = _mm_cmpgt_epi8(_mm_set1_epi8(0x21), _mm_xor_si128(bytes, _mm_set1_epi8('"' ^ 0x20)));
    if constexpr (kind == Bytes::Literal)
        low = _mm_andnot_si128(_mm_cmplt_epi8(bytes, _mm_setzero_si128()), low);
    const __m128i special = _mm_or_si128(low, _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\')));
    return static_cast<unsigned>(_mm_movemask_epi8(special));
}

template <Bytes kind> unsigned others(const char* block)
{
    return others<kind>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block)));
}
#endif

/** The number of leading bytes that are of the kind. */
template <Bytes kind> qsizetype count(const char* begin, const char* end)
{
#if defined(__SSE2__)
    if (end - begin < BlockBytes) {
        char block[BlockBytes] = {}; // a zero byte is not of the kind
        std::copy(begin, end, block);
        return std::countr_zero(others<kind>(block));
    }
    const char* const last = end - BlockBytes;
    for (const char* cursor = begin; cursor < last; cursor += BlockBytes) {
        if (const unsigned found = others<kind>(cursor))
            return cursor - begin + std::countr_zero(found);
    }
    const unsigned found = others<kind>(last); // bytes that it shares with the previous block are of the kind
    return found != 0 ? last - begin + std::countr_zero(found) : end - begin;
#else
    return std::find_if_not(begin, end, [](char byte) { return is<kind>(static_cast<unsigned char>(byte)); }) - begin;
#endif
}

/** Copies characters as bytes to `to`, which has room for all of them. Stops with false at one that is not plain. */
inline bool copyPlain(QStringView from, char* to)
{
    const char16_t* cursor = from.utf16();
    const char16_t* const end = cursor + from.size();
#if defined(__SSE2__)
    for (; end - cursor >= BlockBytes; cursor += BlockBytes, to += BlockBytes) {
        // Units above 255 become 255, or 0 from 0x8000 on; neither is plain.
        const __m128i bytes = _mm_packus_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor)),
                                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor + 8)));
        if (others<Bytes::Plain>(bytes) != 0)
            return false;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
    }
#endif
    for (; cursor != end; ++cursor, ++to) {
        if (!isPlain(*cursor))
            return false;
        *to = static_cast<char>(*cursor);
    }
    return true;
}

} // namespace Json::Plain

namespace Json {

/** True if all characters are plain. */
inline bool isPlain(QByteArrayView bytes)
{
    return Plain::count<Plain::Bytes::Plain>(bytes.begin(), bytes.end()) == bytes.size();
}

inline bool isAscii(QByteArrayView bytes)
{
    constexpr quint64 HighBits = 0x8080808080808080;
    quint64 block = 0;
    while (bytes.size() >= qsizetype(sizeof block)) {
        std::memcpy(&block, bytes.data(), sizeof block);
        if ((block & HighBits) != 0)
            return false;
        bytes = bytes.sliced(sizeof block);
    }
    return std::none_of(bytes.begin(), bytes.end(), [](char c) { return (c & 0x80) != 0; });
}

} // namespace Json

#endif
