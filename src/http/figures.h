#ifndef QUORVA_HTTP_FIGURES_H
#define QUORVA_HTTP_FIGURES_H

#include "client/serverstatus.h"
#include "http/prometheustext.h"
#include "http/transportfigures.h"

/** What /metrics says, as samples; their names and labels are what dashboards and alerts are made of. */
namespace Http::Figures {

/** What the server says about itself. */
void write(const Client::ServerStatus& status, PrometheusText* text);
/** What quorva-http has counted. */
void write(const TransportFigures& figures, PrometheusText* text);

} // namespace Http::Figures

#endif
