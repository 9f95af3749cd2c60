#ifndef QUORVA_FORMAT_MD5_H
#define QUORVA_FORMAT_MD5_H

#include <array>
#include <string_view>

/**
 * The MD5 digest (RFC 1321) of `data`, its bytes in the order in which the digest is written. Byte 3 selects the data
 * file of a hash key, so the results must never change. It distributes keys and provides no security. Any thread.
 */
[[nodiscard]] std::array<unsigned char, 16> md5(std::string_view data);

#endif
