#ifndef QUORVA_TESTS_CRASH_WRITEBACKLOSS_H
#define QUORVA_TESTS_CRASH_WRITEBACKLOSS_H

#include <functional>
#include <map>
#include <random>
#include <string>

#include <sys/types.h>

/**
 * What a power failure leaves of an environment's directory and of the directory with the targets of backups, restores
 * and exports. Programs that run with `environment()` record what is durable there (writeback/writeback.cpp has the
 * rules). After they have exited, either loss turns the directories into what a disk might contain. Without a loss,
 * only the process has died, and the next one continues with the files and their records.
 */
class WriteBackLoss {
public:
    struct Directories {
        std::string environment{}; // this and the next may be empty: then there is none
        std::string strict{};
        std::string state{}; // an empty directory on the same file system, in neither of them
    };

    /** The directories must exist; what is in them is durable. */
    explicit WriteBackLoss(Directories directories);
    /** Only an environment. */
    WriteBackLoss(const std::string& environment, const std::string& state)
        : WriteBackLoss(Directories{.environment = environment, .state = state})
    {}

    /** The environment variables that programs are to run with. */
    std::map<std::string, std::string> environment() const;

    /** Makes a file or directory durable, with all below it and its name: for what tests create themselves. */
    void settle(const std::string& path) const;

    /** Loses everything that was not synced. */
    void loseAll() const;

    /**
     * Loses some of what was not synced, at random. Each block is written back or not, and a file ends with the last
     * block that was. Of the names in a directory that changed, all are old, all are new, or each is either; but
     * anything that existed before and after keeps a name.
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
