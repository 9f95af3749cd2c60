#ifndef QUORVA_HTTP_ALLOWEDHOSTS_H
#define QUORVA_HTTP_ALLOWEDHOSTS_H

#include <string>
#include <string_view>
#include <vector>

namespace Http {

/**
 * The names under which clients may speak to us. A browser sends requests to 127.0.0.1 for every web page that has its
 * own name resolved to that address, and lets the page read the answers; the name is all that tells those requests from
 * others. One thread sets it up; from then on any thread may ask.
 */
class AllowedHosts {
public:
    /** The loopback's names: 127.0.0.1, localhost and [::1]. */
    AllowedHosts();

    /** One more, NAME or NAME:PORT. False, and none, when it is neither. */
    [[nodiscard]] bool add(std::string_view host);

    /** The port that is served. A name that was added without one may come with this port, or with none. */
    void setPort(int port) { port_ = port; }

    /** For the value of a Host header. Case does not matter, nor does a dot behind a name. */
    bool isHost(std::string_view value) const;

    /**
     * For the value of an Origin header: such a host behind http:// or https://, and so never "null". A name of the
     * loopback without a port is one on the scheme's own port: mostly the page of another program on this machine.
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
