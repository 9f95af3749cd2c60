#ifndef QUORVA_HTTP_FIGURES_H
#define QUORVA_HTTP_FIGURES_H

#include "client/serverstatus.h"
#include "http/prometheustext.h"
#include "http/transportfigures.h"

/** The contents of /metrics, as samples; dashboards and alerts depend on their names and labels. */
namespace Http::Figures {

/** The server's figures. */
void write(const Client::ServerStatus& status, PrometheusText* text);
/** The counters of quorva-http. */
void write(const TransportFigures& figures, PrometheusText* text);

} // namespace Http::Figures

#endif
