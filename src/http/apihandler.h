#ifndef QUORVA_HTTP_APIHANDLER_H
#define QUORVA_HTTP_APIHANDLER_H

#include "http/crew.h"
#include "http/gateway.h"
#include "http/httphandler.h"

#include <cstddef>

namespace Http {

/** The API: its requests go to the gateway, with one job of the crew for each that the server is processing. */
class ApiHandler : public HttpHandler {
public:
    /**
     * Bodies may have up to `bodyBytes` bytes after decompression. The caller owns the objects behind the pointers,
     * which must outlive this one.
     */
    ApiHandler(std::size_t bodyBytes, Gateway* gateway, Crew* crew);

    void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) override;

protected:
    /** Answers a request with its unpacked body, on a thread that may wait. */
    virtual Response answer(const RequestHead& head, const QByteArray& body);
    Gateway* gateway() const { return gateway_; }

private:
    Response answerPacked(const RequestHead& head, const QByteArray& packed);

    const std::size_t bodyBytes_;
    Gateway* const gateway_;
    Crew* const crew_;
};

} // namespace Http

#endif
