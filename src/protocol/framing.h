#ifndef QUORVA_PROTOCOL_FRAMING_H
#define QUORVA_PROTOCOL_FRAMING_H

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <string_view>

/**
 * The frames on the wire, in both directions, as pure functions over bytes. All lengths are unsigned, 32 bits,
 * big-endian.
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

/** What precedes a request's body. `operation` points into the bytes that were parsed. */
struct RequestHeader {
    std::string_view operation;
    std::uint32_t bodyLength = 0;
    std::size_t consumed = 0; // bytes of the header; the body begins behind them
};

/** The bytes of one request. `operation` is the full name (see operations.h); both parts have less than 4 GiB. */
QByteArray frameRequest(const QByteArray& operation, const QByteArray& body);

/**
 * Reads the header at the start of `bytes`, the first piece of a request. 0 on success; -1 when the name is too long or
 * the piece does not hold the whole header, `header` is then not changed.
 */
[[nodiscard]] int parseHeader(std::string_view bytes, RequestHeader* header);

/** The beginning of a reply's frame: room for the length. The caller appends the body and calls finishReply. */
QByteArray beginReply();

/** Writes the body's length into a reply's frame. False, with the frame unchanged, when the body has 4 GiB or more. */
[[nodiscard]] bool finishReply(QByteArray* frame);

/** The two work on LengthSize bytes. */
std::uint32_t readLength(const char* bytes);
void writeLength(std::uint32_t length, char* bytes);

} // namespace Framing

#endif
