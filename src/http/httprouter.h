#ifndef QUORVA_HTTP_HTTPROUTER_H
#define QUORVA_HTTP_HTTPROUTER_H

#include "http/allowedhosts.h"
#include "http/httphandler.h"
#include "http/httpservice.h"
#include "peer/allowedusers.h"

#include <string>
#include <string_view>
#include <vector>

namespace Http {

/**
 * What a port serves: picks the handler of a request by its path and method. Before that it applies the rules common to
 * all of them: which users may connect, and which hosts a request may name.
 */
class HttpRouter : public HttpService {
public:
    /** The caller owns `users` and the handlers, which must outlive this object. */
    HttpRouter(AllowedHosts hosts, AllowedUsers* users);

    // Call these before anything is served.
    void setPort(int port) { hosts_.setPort(port); }
    /** Registers a handler for a path, with these methods. Other methods of the same path may have another handler. */
    void add(std::string path, std::vector<std::string> methods, HttpHandler* handler);
    /** The same for a path and all paths below it: for "/files" also "/files/" and "/files/a/b". */
    void addTree(std::string path, std::vector<std::string> methods, HttpHandler* handler);

    bool admits(int socket) override;
    std::optional<Response> refuse(const RequestHead& head) override;
    Response faultResponse(const RequestHead& head, Fault fault) override;
    void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) override;

private:
    struct Route {
        std::string path;
        bool isTree;
        std::vector<std::string> methods;
        HttpHandler* handler;

        bool leadsTo(std::string_view requested) const;
        bool has(std::string_view method) const;
    };

    HttpHandler* handlerOf(const RequestHead& head) const;
    std::optional<Response> refuseForeign(const RequestHead& head) const;
    Response refuseMethod(const RequestHead& head) const;

    AllowedHosts hosts_;
    AllowedUsers* const users_;
    std::vector<Route> routes_;
};

} // namespace Http

#endif
