#ifndef QUORVA_TOOLS_OUTPUTFILE_H
#define QUORVA_TOOLS_OUTPUTFILE_H

#include <QByteArray>

#include <cstdio>
#include <string>

namespace Ctl {

/**
 * A file that is written whole or not at all: it has a name of its own beside the wanted one until commit() renames it.
 * What is no regular file, such as a pipe or a device, is written as it is. Functions return an empty string or what is
 * wrong.
 */
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    /** Removes what was written when there was no commit(). */
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] std::string open();
    [[nodiscard]] std::string writeLine(const QByteArray& text);
    /** When its bytes and name are on the disk: after a loss of power, one that is not there yet may be broken. */
    enum class Disk { AtOnce, Whenever };
    /** Gives it its name, in place of a file that is there. */
    [[nodiscard]] std::string commit(Disk disk = Disk::AtOnce);

private:
    std::string failure(int error) const;

    const std::string path_; // links resolved
    std::string written_;    // the name that it has until then; empty when there is none to remove
    std::FILE* file_ = nullptr;
};

} // namespace Ctl

#endif
