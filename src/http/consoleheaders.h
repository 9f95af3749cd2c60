#ifndef QUORVA_HTTP_CONSOLEHEADERS_H
#define QUORVA_HTTP_CONSOLEHEADERS_H

#include "http/message.h"

namespace Http {

/**
 * Adds the headers that confine the console in a browser: it sends no requests to other origins, runs no scripts but
 * its own files, cannot be embedded in another page, and leaves nothing in caches or referrers.
 */
void confineConsole(Response* response);

} // namespace Http

#endif
