#include "http/healthhandler.h"

#include <utility>

namespace Http {

void HealthHandler::serve(const RequestHead&, QByteArray&&, std::function<void(Response&&)> done)
{
    probe_->ask([done = std::move(done)](const StatusProbe::Result& result) {
        done({result.isSuccess ? Ok : ServiceUnavailable,
              {},
              {{"Content-Type", "text/plain; charset=utf-8"}, {"Cache-Control", "no-store"}},
              (result.isSuccess ? "The server answers." : result.failure) + '\n'});
    });
}

} // namespace Http
