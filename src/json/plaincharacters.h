#ifndef QUORVA_JSON_PLAINCHARACTERS_H
#define QUORVA_JSON_PLAINCHARACTERS_H

#include <QStringView>

#if defined(__SSE2__)
#include <bit>
#include <cstdint>
#include <emmintrin.h>
#endif

/**
 * The characters that stand for themselves in a JSON string: all but control characters, quote and backslash. Plain are
 * those of them that are ASCII.
 */
namespace Json::Plain {

inline constexpr int BlockBytes = 16;

constexpr bool isPlain(char16_t character)
{
    return character >= u' ' && character < 0x80 && character != u'"' && character != u'\\';
}

constexpr bool isLiteral(unsigned char byte)
{
    return byte >= 0x80 || isPlain(byte);
}

#if defined(__SSE2__)
/** How many of 16 bytes are plain, up to the first that is not. */
inline int countPlain(__m128i bytes)
{
    // Signed, so that what is not ASCII counts as below a blank, as control characters do.
    const __m128i special = _mm_or_si128(
        _mm_cmplt_epi8(bytes, _mm_set1_epi8(' ')),
        _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'))));
    return std::countr_zero(static_cast<std::uint16_t>(_mm_movemask_epi8(special)));
}

/** How many of 16 bytes stand for themselves, up to the first that does not. */
inline int countLiteral(__m128i bytes)
{
    // Signed, so that what is not ASCII counts as negative.
    const __m128i isControl =
        _mm_andnot_si128(_mm_cmplt_epi8(bytes, _mm_setzero_si128()), _mm_cmplt_epi8(bytes, _mm_set1_epi8(' ')));
    const __m128i special = _mm_or_si128(
        isControl, _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'))));
    return std::countr_zero(static_cast<std::uint16_t>(_mm_movemask_epi8(special)));
}
#endif

/** How many of the bytes are plain, up to the first that is not. */
inline qsizetype countPlain(const char* begin, const char* end)
{
    const char* cursor = begin;
#if defined(__SSE2__)
    for (; end - cursor >= BlockBytes; cursor += BlockBytes) {
        const int plain = countPlain(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor)));
        if (plain < BlockBytes)
            return cursor - begin + plain;
    }
#endif
    while (cursor != end && isPlain(static_cast<unsigned char>(*cursor)))
        ++cursor;
    return cursor - begin;
}

/** How many of the bytes stand for themselves, up to the first that does not; all bytes beyond ASCII do. */
inline qsizetype countLiteral(const char* begin, const char* end)
{
    const char* cursor = begin;
#if defined(__SSE2__)
    for (; end - cursor >= BlockBytes; cursor += BlockBytes) {
        const int literal = countLiteral(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor)));
        if (literal < BlockBytes)
            return cursor - begin + literal;
    }
#endif
    while (cursor != end && isLiteral(static_cast<unsigned char>(*cursor)))
        ++cursor;
    return cursor - begin;
}

/** Copies characters as bytes to `to`, which has room for them. False as soon as one is not plain. */
inline bool copyPlain(QStringView from, char* to)
{
    const char16_t* cursor = from.utf16();
    const char16_t* const end = cursor + from.size();
#if defined(__SSE2__)
    for (; end - cursor >= BlockBytes; cursor += BlockBytes, to += BlockBytes) {
        // Units beyond a byte become 255, or 0 from 0x8000 on: neither is plain.
        const __m128i bytes = _mm_packus_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor)),
                                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(cursor + 8)));
        if (countPlain(bytes) < BlockBytes)
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

#endif
