#ifndef QUORVA_TESTS_CRASH_WRITEBACKLOSS_H
#define QUORVA_TESTS_CRASH_WRITEBACKLOSS_H

#include <functional>
#include <map>
#include <random>
#include <string>

#include <sys/types.h>

/**
 * What a loss of power leaves of an environment's directory and of the directory above the targets of backups, restores
 * and exports. Programs that run with `environment()` keep what is durable of them (the rules are in
 * writeback/writeback.cpp); when they have ended, one of the two losses makes the directories what a disk might hold.
 * Without a loss it was only the end of a process, and the next one goes on with the files and what is durable of them.
 */
class WriteBackLoss {
public:
    struct Directories {
        std::string environment{}; // either may be empty: then there is none
        std::string strict{};
        std::string state{}; // an empty directory on the same file system, in neither of them
    };

    /** Directories must exist; what is in them is durable. */
    explicit WriteBackLoss(Directories directories);
    /** Only an environment. */
    WriteBackLoss(const std::string& environment, const std::string& state)
        : WriteBackLoss(Directories{.environment = environment, .state = state})
    {}

    /** The variables that programs are to run with. */
    std::map<std::string, std::string> environment() const;

    /** Makes durable what a path leads to, with all below it, and its name: for what tests put there themselves. */
    void settle(const std::string& path) const;

    /** Nothing was written back by itself: every file and name is exactly what was synchronised. */
    void loseAll() const;

    /**
     * Each block that was not synchronised has been written back or not, by chance; a file ends with its last block
     * that was. Of the names of each directory that changed since it was synchronised, by chance all are as they were,
     * all as they became, or each is either; but what was there before and after has a name.
     */
    void loseSome(std::minstd_rand* random) const;

private:
    struct Entry {
        char kind;
        ino_t inode;
        bool operator==(const Entry&) const = default;
    };
    using Names = std::map<std::string, Entry>;
    struct Loss {
        std::function<Names(const Names& durable, const Names& present)> names;
        std::function<std::string(const std::string& durable, const std::string& written)> bytes;
    };

    Names durableNames(ino_t directory) const;
    static Names presentNames(const std::string& directory);
    static Names someNames(const Names& durable, const Names& present, std::minstd_rand* random);
    void lose(const Loss& loss) const;
    void leave(const Loss& loss, ino_t directory, const std::string& target,
               const std::map<ino_t, std::string>& paths) const;
    void settleName(const std::string& path) const;
    void reset() const;

    const Directories directories_;
};

#endif
