#ifndef QUORVA_STORAGE_MADEDIRECTORIES_H
#define QUORVA_STORAGE_MADEDIRECTORIES_H

#include <QByteArray>

#include <vector>

/**
 * The directories created for a database file before it is opened, so that they can be claimed first. Unless kept,
 * those that are empty and not locked are removed again.
 */
class MadeDirectories {
public:
    MadeDirectories() = default;
    ~MadeDirectories();
    MadeDirectories(const MadeDirectories&) = delete;
    MadeDirectories& operator=(const MadeDirectories&) = delete;

    /** Creates the missing directories on the path of `file`, which is below `base`. 0 or an errno value. */
    [[nodiscard]] int make(const QByteArray& base, const QByteArray& file);

    void keep() { made_.clear(); }

private:
    std::vector<QByteArray> made_;
};

#endif
