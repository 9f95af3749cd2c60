#include "tools/linereader.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Ctl::LineReader;
using Result = LineReader::Result;

/** A descriptor of a file with this content. */
class Input {
public:
    explicit Input(const std::string& content)
    {
        std::ofstream(directory_.file("lines"), std::ios::binary) << content;
        descriptor_ = open(directory_.file("lines").c_str(), O_RDONLY | O_CLOEXEC);
    }
    ~Input() { close(descriptor_); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    int descriptor() const { return descriptor_; }

private:
    const TempDir directory_;
    int descriptor_ = -1;
};

/** The lines of an input that has only valid ones. */
std::vector<std::string> linesRead(const std::string& content)
{
    const Input input(content);
    LineReader reader(input.descriptor());
    std::vector<std::string> lines;
    QByteArray line;
    while (reader.next(&line) == Result::Line)
        lines.push_back(line.toStdString());
    EXPECT_EQ(reader.next(&line), Result::End);
    EXPECT_EQ(reader.lineNumber(), static_cast<long long>(lines.size()));
    EXPECT_EQ(reader.bytes(), static_cast<qint64>(content.size()));
    return lines;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(LineReader, SplitsAtLineEnds)
{
    EXPECT_EQ(linesRead(""), Lines());
    EXPECT_EQ(linesRead("\n"), Lines({""}));
    EXPECT_EQ(linesRead("a\nb\n"), Lines({"a", "b"}));
    EXPECT_EQ(linesRead("a\n\nb"), Lines({"a", "", "b"}));
    EXPECT_EQ(linesRead("a\r\n"), Lines({"a\r"}));
}

TEST(LineReader, JoinsWhatComesInSeveralPieces)
{
    const std::string longLine(300000, 'x');
    const std::string exact(65536, 'y'); // the size of one read
    EXPECT_EQ(linesRead("a\n" + longLine + "\nb\n" + longLine), Lines({"a", longLine, "b", longLine}));
    EXPECT_EQ(linesRead(exact + '\n' + exact), Lines({exact, exact}));
}

TEST(LineReader, PassesOverALineThatIsTooLong)
{
    const auto longest = static_cast<size_t>(LineReader::LongestLine);
    const std::string content = "a\n" + std::string(longest + 1, 'x') + "\n" + std::string(longest, 'y') + "\nb\n";
    const Input input(content);
    LineReader reader(input.descriptor());
    QByteArray line;
    EXPECT_EQ(reader.next(&line), Result::Line);
    EXPECT_EQ(reader.next(&line), Result::TooLong);
    EXPECT_EQ(reader.lineNumber(), 2);
    EXPECT_EQ(reader.next(&line), Result::Line);
    EXPECT_EQ(line.size(), LineReader::LongestLine);
    EXPECT_EQ(reader.next(&line), Result::Line);
    EXPECT_EQ(line, "b");
    EXPECT_EQ(reader.lineNumber(), 4);
    EXPECT_EQ(reader.bytes(), static_cast<qint64>(content.size()));
    EXPECT_EQ(reader.next(&line), Result::End);
}

TEST(LineReader, ReportsThatItCannotRead)
{
    const TempDir directory;
    const int descriptor = open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    LineReader reader(descriptor);
    QByteArray line;
    errno = 0;
    EXPECT_EQ(reader.next(&line), Result::Failed);
    EXPECT_EQ(errno, EISDIR);
    close(descriptor);
}
