#include "net/peername.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

std::string Net::peerName(int socket)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    char text[INET_ADDRSTRLEN];
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0 || address.sin_family != AF_INET ||
        inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) == nullptr)
        return "unknown";
    return std::string(text) + ':' + std::to_string(ntohs(address.sin_port));
}
