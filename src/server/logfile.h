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
     * Opens the file by its name again: it may have been renamed, to begin a new one. Lines of other threads go to
     * either file, each to one, and none is lost. If it cannot be opened, the log stays where it is, with an ERROR
     * line. Standard error stays as it is without a file of our own.
     */
    void reopen();

private:
    const char* const path_;
    std::FILE* file_ = nullptr; // never closed: other threads may be writing to it
};

#endif
