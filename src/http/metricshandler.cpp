#include "http/metricshandler.h"

#include "client/serverstatus.h"
#include "http/figures.h"
#include "http/prometheustext.h"

#include <utility>

namespace Http {

namespace {

QByteArray textOf(const StatusProbe::Result& result, const TransportFigures& figures)
{
    PrometheusText text;
    text.family("quorva_up", PrometheusText::Type::Gauge, "1 if the server has answered, else 0.");
    text.sample(qint64{result.isSuccess});
    if (result.isSuccess)
        Figures::write(Client::ServerStatus::of(result.status), &text);
    Figures::write(figures, &text);
    return text.text();
}

} // namespace

void MetricsHandler::serve(const RequestHead&, QByteArray&&, std::function<void(Response&&)> done)
{
    probe_->ask([this, done = std::move(done)](const StatusProbe::Result& result) {
        done({Ok, {}, {{"Content-Type", PrometheusText::ContentType}}, textOf(result, *figures_)});
    });
}

} // namespace Http
