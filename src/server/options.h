#ifndef QUORVA_SERVER_OPTIONS_H
#define QUORVA_SERVER_OPTIONS_H

#include "protocol/endpoint.h"

#include <QByteArray>
#include <QThread>

#include <chrono>
#include <optional>

/** What the command line "p:d:s:w:m:n" sets. The main thread alone reads and writes it. */
struct ServerOptions {
    /**
     * The number of processors as Qt reports it; 4, with a WARN line, if it reports none. The argument overrides Qt's
     * value.
     */
    static int coreCount(int reported = QThread::idealThreadCount());

    /** The defaults on a machine with this many processors. */
    explicit ServerOptions(int cores);

    /**
     * Reads the options up to the first word that is not one. Unknown options and missing arguments are ignored,
     * invalid numbers count as 0. Does not return when an option character is ":".
     */
    void read(int argc, const char* const* argv);

    /**
     * The value of QUORVA_SLOW_MS, in milliseconds: a number from 0, which is no threshold, to a day. Unset or empty,
     * it is 0. Nothing for any other text.
     */
    static std::optional<std::chrono::milliseconds> slowThreshold(const QByteArray& text);

    int port = Endpoint::DefaultPort; // -p
    const char* logFile = nullptr;    // -d, points into argv; null: standard error
    int statLevel = 0;                // -s
    int workers;                      // -w, I/O worker threads
    int poolMax;                      // -m, database pool threads
    bool commitWithoutSync = false;   // -n
};

#endif
