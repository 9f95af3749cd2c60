#ifndef QUORVA_NET_PEERNAME_H
#define QUORVA_NET_PEERNAME_H

#include <string>

namespace Net {

/** The address and port at the other end of a connection, "127.0.0.1:51234"; "unknown" if that cannot be determined. */
std::string peerName(int socket);

} // namespace Net

#endif
