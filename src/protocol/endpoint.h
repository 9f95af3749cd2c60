#ifndef QUORVA_PROTOCOL_ENDPOINT_H
#define QUORVA_PROTOCOL_ENDPOINT_H

/** Where a server listens. */
namespace Endpoint {

/** The loopback address: the server is not reachable from other machines. */
inline constexpr const char* Host = "127.0.0.1";

/** The port unless the server's command line names another one. */
inline constexpr int DefaultPort = 4567;

} // namespace Endpoint

#endif
