#ifndef QUORVA_HTTP_SIGNALS_H
#define QUORVA_HTTP_SIGNALS_H

#include <latch>
#include <string>

namespace Http {

class HttpServer;

/** The signals to quorva-http, which one thread waits for: SIGHUP reopens the log file, the others end the program. */
namespace Signals {

/** Blocks them. Must be called before any thread starts, so that only the thread of watch() receives them. */
void block();

/** Directs messages to the file of --log; called again when it may have been renamed. */
bool openLog(const std::string& file);

/** Runs on its own thread until the server has ended: a second signal terminates the program immediately. */
void watch(const std::string& logFile, HttpServer* server, std::latch* ended);

} // namespace Signals

} // namespace Http

#endif
