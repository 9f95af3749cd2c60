#ifndef QUORVA_HTTP_HTTPSERVER_H
#define QUORVA_HTTP_HTTPSERVER_H

#include "http/asynctypes.h"
#include "http/connections.h"
#include "http/crew.h"
#include "http/httpconnection.h"
#include "http/httplimits.h"
#include "http/httpservice.h"

#include <boost/asio/basic_socket_acceptor.hpp>

namespace Http {

/**
 * Serves HTTP on a port of 127.0.0.1 and has a service answer the requests. One event loop accepts connections, reads
 * requests and writes responses; a waiting connection costs only memory and a descriptor. The loop is run by one thread
 * of a crew at a time, which the other classes of the transport call its thread.
 */
class HttpServer {
public:
    /** The caller owns the objects behind the pointers, which must outlive this one. The crew runs nothing else. */
    HttpServer(const HttpLimits& limits, HttpService* service, Crew* crew, TransportFigures* figures);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /** Of the event loop. run() does not return while it has operations pending. */
    Executor executor() { return loop_.get_executor(); }

    /** Binds a port, or with 0 any free one. Returns the port, or -1 on failure with errno set. */
    [[nodiscard]] int bind(int port);

    /**
     * Serves until endRun(), after bind(). Returns false, with errno set, if the listening socket failed. Requests in
     * progress are answered before it returns.
     */
    [[nodiscard]] bool run();

    /** Ends run(), or makes it return immediately if called first. Any thread. */
    void endRun();

private:
    using Acceptor = boost::asio::basic_socket_acceptor<boost::asio::ip::tcp, Executor>;

    bool step();
    void waitForClient();
    void accept();
    void acceptPending();
    void begin(Socket&& socket);
    void makeRoom();
    void fail(int error);

    const HttpLimits limits_;
    HttpService* const service_;
    Crew* const crew_;
    Connections connections_;
    boost::asio::io_context loop_{1}; // for one thread at a time; holds the connections
    Acceptor acceptor_{loop_.get_executor()};
    Timer pause_{loop_.get_executor()};
    int error_ = 0; // of the listening socket
};

} // namespace Http

#endif
