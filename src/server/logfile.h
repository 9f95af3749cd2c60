#ifndef QUORVA_SERVER_LOGFILE_H
#define QUORVA_SERVER_LOGFILE_H

#include <cstdio>

/** Where the log goes: the file of the option -d, or standard error. Used by the main thread. */
class LogFile {
public:
    /** Null: standard error. Not owned. */
    explicit LogFile(const char* path) : path_(path) {}

    /** Directs the log to the file, which is appended to, or to standard error if it cannot be opened. */
    void open();

    /**
     * Opens the file by its name again: it may have been renamed, to begin a new one. Each line of other threads goes
     * to one of the two files, and none is lost. If the file cannot be opened, the log remains where it is, with an
     * ERROR line. Without a log file, standard error remains in use.
     */
    void reopen();

private:
    const char* const path_;
    std::FILE* file_ = nullptr; // never closed: other threads may be writing to it
};

#endif
