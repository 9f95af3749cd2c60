#ifndef QUORVA_HTTP_CONSOLEHEADERS_H
#define QUORVA_HTTP_CONSOLEHEADERS_H

#include "http/message.h"

namespace Http {

/**
 * Adds the headers that confine the console in a browser: it loads and asks nothing outside its own origin, runs no
 * script but its own files, is shown in no other page, and leaves nothing in caches or referrers.
 */
void confineConsole(Response* response);

} // namespace Http

#endif
