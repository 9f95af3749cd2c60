#ifndef QUORVA_STORAGE_TABLEFILES_H
#define QUORVA_STORAGE_TABLEFILES_H

#include <QByteArray>

#include <cstdint>
#include <filesystem>
#include <vector>

class BDBEnv;

/** The files of one table on disk. Any thread. */
namespace TableFiles {

struct File {
    QByteArray name; // in the environment
    const char* subDatabase;
    unsigned database; // its number in OpenTables
    std::uint64_t bytes;
};

/**
 * The files of the table with this file part that exist: with `description`, the one of its description, then the data
 * files in order. Empty if no table can have the name, or if none of them is a database. 0, an errno value or a
 * Berkeley DB code.
 */
[[nodiscard]] int find(BDBEnv* env, const QByteArray& filePart, bool description, std::vector<File>* files);

/** True if find() would find any in the directory `home`, which is not open as an environment. Opens and locks nothing.
 */
[[nodiscard]] bool existUnopened(const std::filesystem::path& home, const QByteArray& filePart);

/** The size of an existing file of the environment; 0 if there is none. */
[[nodiscard]] int size(BDBEnv* env, const QByteArray& name, std::uint64_t* bytes);

} // namespace TableFiles

#endif
