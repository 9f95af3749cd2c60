#ifndef QUORVA_STORAGE_MADEDIRECTORIES_H
#define QUORVA_STORAGE_MADEDIRECTORIES_H

#include <QByteArray>

#include <vector>

/**
 * The directories that are made for a database file before it is opened, so that they can be claimed first. Removed
 * again unless kept, as far as they are empty and nobody holds them.
 */
class MadeDirectories {
public:
    MadeDirectories() = default;
    ~MadeDirectories();
    MadeDirectories(const MadeDirectories&) = delete;
    MadeDirectories& operator=(const MadeDirectories&) = delete;

    /** Makes the directories in the name of `file`, a path below `base`, that are missing. 0 or an errno value. */
    [[nodiscard]] int make(const QByteArray& base, const QByteArray& file);

    void keep() { made_.clear(); }

private:
    std::vector<QByteArray> made_;
};

#endif
