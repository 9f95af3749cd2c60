#ifndef QUORVA_TESTS_CRASH_WRITEBACKLOSS_H
#define QUORVA_TESTS_CRASH_WRITEBACKLOSS_H

#include <map>
#include <random>
#include <string>

/**
 * What a loss of power leaves of an environment's directory. A process that runs with `environment()` keeps the durable
 * image of each file (see writeback.cpp); when it was killed, one of the two losses makes the directory what a disk
 * might hold. Without a loss the kill was only that of a process, and the next one goes on with files and images.
 */
class WriteBackLoss {
public:
    /** `tracked` is the environment's directory, `images` an empty one next to it. Both must exist. */
    WriteBackLoss(std::string tracked, std::string images);

    /** The variables that the process is to run with. */
    std::map<std::string, std::string> environment() const;

    /** Nothing was written back by itself: every file is exactly what was synchronised. */
    void loseAll() const;

    /**
     * Each block that was not synchronised has been written back or not, by chance; a file ends with its last block
     * that was. A file of which nothing was synchronised may be missing.
     */
    void loseSome(std::minstd_rand* random) const;

private:
    void resetImages() const;

    const std::string tracked_;
    const std::string images_;
};

#endif
