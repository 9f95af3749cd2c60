#ifndef QUORVA_JSON_JSONCHARACTERS_H
#define QUORVA_JSON_JSONCHARACTERS_H

#include <QByteArrayView>
#include <QStringView>

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <bit>
#include <cstdint>
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
/** The number of leading bytes, of 16, that are of the kind. */
template <Bytes kind> int count(__m128i bytes)
{
    // A signed comparison: bytes that are not ASCII are negative and compare below a blank, like control characters.
    __m128i low = _mm_cmplt_epi8(bytes, _mm_set1_epi8(' '));
    if constexpr (kind == Bytes::Literal)
        low = _mm_andnot_si128(_mm_cmplt_epi8(bytes, _mm_setzero_si128()), low);
    const __m128i special = _mm_or_si128(
        low, _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'))));
    return std::countr_zero(static_cast<std::uint16_t>(_mm_movemask_epi8(special)));
}
#endif

/** The number of leading bytes that are of the kind. */
template <Bytes kind> qsizetype count(const char* begin, const char* end)
{
    const char* cursor = begin;
#if defined(__SSE2__)
    for (; end - cursor >= BlockBytes; cursor += BlockBytes) {
        const int found = count<kind>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor)));
        if (found < BlockBytes)
            return cursor - begin + found;
    }
#endif
    while (cursor != end && is<kind>(static_cast<unsigned char>(*cursor)))
        ++cursor;
    return cursor - begin;
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
        if (count<Bytes::Plain>(bytes) < BlockBytes)
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
