#ifndef QUORVA_HTTP_CONTENTCODING_H
#define QUORVA_HTTP_CONTENTCODING_H

#include <QByteArray>

#include <cstddef>
#include <string_view>

/** Decompression of bodies, by the names used in "Content-Encoding". */
namespace Http::ContentCoding {

enum class Result {
    Unpacked,
    TooLarge, // more than the limit; decompression stopped there
    Broken,   // not in this coding, or truncated
};

/** Whether this is a coding that unpack() decompresses. */
bool isKnown(std::string_view coding);

/**
 * Decompresses gzip, deflate and br into an empty `body`. A body in an unknown coding is passed through; its receiver
 * will reject it. Throws std::bad_alloc.
 */
[[nodiscard]] Result unpack(std::string_view coding, const QByteArray& packed, std::size_t limit, QByteArray* body);

} // namespace Http::ContentCoding

#endif
