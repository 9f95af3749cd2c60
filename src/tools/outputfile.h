#ifndef QUORVA_TOOLS_OUTPUTFILE_H
#define QUORVA_TOOLS_OUTPUTFILE_H

#include <QByteArray>

#include <cstdio>
#include <string>

namespace Ctl {

/**
 * A file that is written completely or not at all: it has a temporary name in the target's directory until commit()
 * renames it. A target that is not a regular file, such as a pipe or a device, is written directly. Functions return an
 * empty string or an error message.
 */
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    /** Removes the temporary file unless commit() succeeded. */
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] std::string open();
    [[nodiscard]] std::string writeLine(const QByteArray& text);
    /** When its content and name are forced to disk: until then, a power failure may leave a damaged file. */
    enum class Disk { AtOnce, Whenever };
    /** Renames it to its final name, replacing any existing file. */
    [[nodiscard]] std::string commit(Disk disk = Disk::AtOnce);

private:
    std::string failure(int error) const;

    const std::string path_; // symbolic links resolved
    std::string written_;    // the temporary name; empty when there is nothing to remove
    std::FILE* file_ = nullptr;
};

} // namespace Ctl

#endif
