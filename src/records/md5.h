#ifndef QUORVA_RECORDS_MD5_H
#define QUORVA_RECORDS_MD5_H

#include <QByteArray>

#include <array>

namespace Records {

/**
 * The MD5 digest (RFC 1321) of `data`, its bytes in the order in which the digest is written. Byte 3 chooses the data
 * file of a hash key, so the routine must never change its answers. It spreads keys, it protects nothing. Any thread
 * may call it.
 */
[[nodiscard]] std::array<unsigned char, 16> md5(const QByteArray& data);

} // namespace Records

#endif
