#include "http/contentcoding.h"

#define ZLIB_CONST // for the compressed input
#include <brotli/decode.h>
#include <zlib.h>

#include <array>
#include <cstdint>
#include <memory>
#include <new>

#include <strings.h>

namespace Http::ContentCoding {

namespace {

/** HTTP's names of codings are the same in any case. */
bool isNamed(std::string_view coding, std::string_view name)
{
    return coding.size() == name.size() && strncasecmp(coding.data(), name.data(), name.size()) == 0;
}

bool isZlib(std::string_view coding)
{
    return isNamed(coding, "gzip") || isNamed(coding, "x-gzip") || isNamed(coding, "deflate");
}

bool isBrotli(std::string_view coding)
{
    return isNamed(coding, "br");
}

using Piece = std::array<char, 16384>;

/** Returns false when the bytes would exceed the limit. */
bool append(const char* bytes, std::size_t size, std::size_t limit, QByteArray* body)
{
    if (size > limit - static_cast<std::size_t>(body->size()))
        return false;
    body->append(bytes, static_cast<qsizetype>(size));
    return true;
}

Result inflateInto(const QByteArray& packed, std::size_t limit, QByteArray* body)
{
    constexpr int EitherFormat = 32 + MAX_WBITS; // gzip, or zlib, which HTTP calls deflate
    z_stream stream{};
    if (inflateInit2(&stream, EitherFormat) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, decltype(&inflateEnd)> owner(&stream, inflateEnd);
    stream.next_in = reinterpret_cast<const Bytef*>(packed.constData());
    stream.avail_in = static_cast<uInt>(packed.size());
    Piece piece;
    for (int state = Z_OK; state != Z_STREAM_END;) {
        stream.next_out = reinterpret_cast<Bytef*>(piece.data());
        stream.avail_out = piece.size();
        state = inflate(&stream, Z_NO_FLUSH);
        if (state != Z_OK && state != Z_STREAM_END)
            return Result::Broken;
        if (!append(piece.data(), piece.size() - stream.avail_out, limit, body))
            return Result::TooLarge;
    }
    return stream.avail_in == 0 ? Result::Unpacked : Result::Broken; // nothing may follow
}

Result decodeBrotliInto(const QByteArray& packed, std::size_t limit, QByteArray* body)
{
    const std::unique_ptr<BrotliDecoderState, decltype(&BrotliDecoderDestroyInstance)> decoder(
        BrotliDecoderCreateInstance(nullptr, nullptr, nullptr), BrotliDecoderDestroyInstance);
    if (decoder == nullptr)
        throw std::bad_alloc();
    const auto* next = reinterpret_cast<const std::uint8_t*>(packed.constData());
    auto left = static_cast<std::size_t>(packed.size());
    Piece piece;
    for (BrotliDecoderResult state = BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT;
         state == BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT;) {
        auto* out = reinterpret_cast<std::uint8_t*>(piece.data());
        std::size_t room = piece.size();
        state = BrotliDecoderDecompressStream(decoder.get(), &left, &next, &room, &out, nullptr);
        if (state != BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT && state != BROTLI_DECODER_RESULT_SUCCESS)
            return Result::Broken;
        if (!append(piece.data(), piece.size() - room, limit, body))
            return Result::TooLarge;
    }
    return left == 0 ? Result::Unpacked : Result::Broken;
}

} // namespace

bool isKnown(std::string_view coding)
{
    return isZlib(coding) || isBrotli(coding);
}

Result unpack(std::string_view coding, const QByteArray& packed, std::size_t limit, QByteArray* body)
{
    if (isZlib(coding))
        return inflateInto(packed, limit, body);
    if (isBrotli(coding))
        return decodeBrotliInto(packed, limit, body);
    *body = packed;
    return Result::Unpacked;
}

} // namespace Http::ContentCoding
