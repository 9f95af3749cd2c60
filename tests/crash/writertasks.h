#ifndef QUORVA_TESTS_CRASH_WRITERTASKS_H
#define QUORVA_TESTS_CRASH_WRITERTASKS_H

/** What the writers do besides writing to units, counters and contests. */
struct WriterTasks {
    bool firstTouch = false;   // each has tables of its own, and most of its writes are the first to a partition
    bool createTables = false; // some create tables, or create them again, and use them
    bool largeValues = false;  // log files fill up
};

#endif
