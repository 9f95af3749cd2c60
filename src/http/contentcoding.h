#ifndef QUORVA_HTTP_CONTENTCODING_H
#define QUORVA_HTTP_CONTENTCODING_H

#include <QByteArray>

#include <cstddef>
#include <string_view>

/** The forms in which a body may come packed, as "Content-Encoding" names them. */
namespace Http::ContentCoding {

enum class Result {
    Unpacked,
    TooLarge, // more than the limit; no more than that was unpacked
    Broken,   // not in this coding, or without its end
};

/**
 * Unpacks gzip, deflate and br into an empty `body`. A body in a coding that we do not know counts as not packed; its
 * receiver will not understand it. Throws std::bad_alloc.
 */
[[nodiscard]] Result unpack(std::string_view coding, const QByteArray& packed, std::size_t limit, QByteArray* body);

} // namespace Http::ContentCoding

#endif
