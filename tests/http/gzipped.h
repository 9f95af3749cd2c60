#ifndef QUORVA_TESTS_HTTP_GZIPPED_H
#define QUORVA_TESTS_HTTP_GZIPPED_H

#include <gtest/gtest.h>

#include <string>

#include <zlib.h>

/** The text in the coding gzip. */
inline std::string gzipped(const std::string& text)
{
    z_stream stream{};
    std::string packed(text.size() + 1000, '\0');
    EXPECT_EQ(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
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

#endif
