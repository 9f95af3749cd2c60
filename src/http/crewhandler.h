#ifndef QUORVA_HTTP_CREWHANDLER_H
#define QUORVA_HTTP_CREWHANDLER_H

#include "http/crew.h"
#include "http/httphandler.h"

#include <cstddef>

namespace Http {

/** A handler whose requests wait for the server: decompresses their bodies, and runs each as a job of the crew. */
class CrewHandler : public HttpHandler {
public:
    /** Bodies may have up to `bodyBytes` bytes after decompression. The caller owns the crew, which must outlive this.
     */
    CrewHandler(std::size_t bodyBytes, Crew* crew) : bodyBytes_(bodyBytes), crew_(crew) {}

    using Done = std::function<void(Response&&)>;

    void serve(const RequestHead& head, QByteArray&& body, Done done) override;

protected:
    /** Answers a request, given its decompressed body, on a thread that may block. */
    virtual Response answer(const RequestHead& head, const QByteArray& body) = 0;

    /** Has a job of the crew answer a request with what `respond` returns. For the transport's thread. */
    void post(const RequestHead& head, std::function<Response()>&& respond, Done&& done);
    /** What `respond` returns, unless there is not enough memory. */
    static Response guarded(const RequestHead& head, std::function<Response()>&& respond);

private:
    Response answerPacked(const RequestHead& head, const QByteArray& packed);

    const std::size_t bodyBytes_;
    Crew* const crew_;
};

} // namespace Http

#endif
