#ifndef QUORVA_HTTP_ALLOWEDHOSTS_H
#define QUORVA_HTTP_ALLOWEDHOSTS_H

#include <string>
#include <string_view>
#include <vector>

namespace Http {

/**
 * The host names that clients may use for this service. A browser sends requests to 127.0.0.1 for any web page whose
 * own name resolves to that address, and lets the page read the responses (DNS rebinding); only the host name
 * distinguishes those requests from others. One thread sets it up; from then on any thread may use it.
 */
class AllowedHosts {
public:
    /** Allows the loopback's names: 127.0.0.1, localhost and [::1]. */
    AllowedHosts();

    /** Allows another host, NAME or NAME:PORT. Returns false, without effect, if it is neither. */
    [[nodiscard]] bool add(std::string_view host);

    /** Sets the port of the service. A name that was added without a port matches with this port or without one. */
    void setPort(int port) { port_ = port; }

    /** Checks the value of a Host header, ignoring case and a trailing dot. */
    bool isHost(std::string_view value) const;

    /**
     * Checks the value of an Origin header: such a host after http:// or https://, so never "null". A loopback name
     * without a port means the scheme's default port: usually the page of another program on this machine.
     */
    bool isOrigin(std::string_view value) const;

private:
    struct Host {
        std::string name; // in lower case, without a dot at its end
        int port;         // NoPort when there is none
    };
    static constexpr int NoPort = -1;

    static bool parse(std::string_view text, Host* host);
    bool isAllowed(const Host& host) const;

    std::vector<Host> hosts_;
    int port_ = NoPort;
};

} // namespace Http

#endif
