#ifndef QUORVA_PROTOCOL_FRAMING_H
#define QUORVA_PROTOCOL_FRAMING_H

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <string_view>

/**
 * The wire framing, in both directions, as pure functions on bytes. All lengths are unsigned, 32 bits, big-endian.
 *
 *     request   | name length N | operation name | body length L | body (JSON) |
 *               |       4       |    N <= 64     |       4       |      L      |
 *
 *     reply     | body length | body (JSON) |
 *               |      4      |             |
 */
namespace Framing {

inline constexpr std::size_t LengthSize = 4;              // on the wire, do not change
inline constexpr std::size_t MaxOperationNameLength = 64; // on the wire, do not change

/** The part of a request before its body. `operation` points into the parsed bytes. */
struct RequestHeader {
    std::string_view operation;
    std::uint32_t bodyLength = 0;
    std::size_t consumed = 0; // bytes of the header; the body follows
};

/** Encodes one request. `operation` is the full name (see operations.h); both parts must be smaller than 4 GiB. */
QByteArray frameRequest(const QByteArray& operation, const QByteArray& body);

/**
 * Parses the header at the start of `bytes`, the first chunk of a request. Returns 0 on success, or -1, with `header`
 * unchanged, if the name is too long or the chunk does not contain the whole header.
 */
[[nodiscard]] int parseHeader(std::string_view bytes, RequestHeader* header);

/** Starts a reply's frame with room for the length. The caller appends the body and calls finishReply(). */
QByteArray beginReply();

/** Writes the body's length into a reply's frame. Returns false, with the frame unchanged, if it is 4 GiB or more. */
[[nodiscard]] bool finishReply(QByteArray* frame);

/** Read and write a length of LengthSize bytes. */
std::uint32_t readLength(const char* bytes);
void writeLength(std::uint32_t length, char* bytes);

} // namespace Framing

#endif
