#ifndef QUORVA_TESTS_SUPPORT_GZIPPED_H
#define QUORVA_TESTS_SUPPORT_GZIPPED_H

#include <gtest/gtest.h>

#include <string>

#include <zlib.h>

inline constexpr int GzipFormat = 16 + MAX_WBITS;
inline constexpr int ZlibFormat = MAX_WBITS;

/** The text, compressed in one of zlib's formats. */
inline std::string deflated(const std::string& text, int format)
{
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, format, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string packed(deflateBound(&stream, text.size()) + 64, '\0');
    std::string copy = text;
    stream.next_in = reinterpret_cast<Bytef*>(copy.data());
    stream.avail_in = static_cast<uInt>(copy.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

inline std::string gzipped(const std::string& text)
{
    return deflated(text, GzipFormat);
}

#endif
