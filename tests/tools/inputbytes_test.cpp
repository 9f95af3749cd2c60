#include "tools/inputbytes.h"

#include "support/gzipped.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Ctl::InputBytes;
using Result = InputBytes::Result;

struct Outcome {
    std::string text;
    Result result;
    std::string error;
    qint64 bytesRead;
    bool isCompressed;
};

/** All bytes up to the end or a failure, of an input that is read in pieces of a pipe if it is small. */
Outcome read(const std::string& content)
{
    const TempDir directory;
    std::ofstream(directory.file("input"), std::ios::binary) << content;
    const int descriptor = open(directory.file("input").c_str(), O_RDONLY | O_CLOEXEC);
    InputBytes input(descriptor, [] { return true; });
    Outcome outcome{};
    QByteArray piece;
    while ((outcome.result = input.next(&piece)) == Result::Bytes) {
        EXPECT_FALSE(piece.isEmpty());
        outcome.text += piece.toStdString();
    }
    outcome.error = input.error();
    outcome.bytesRead = input.bytesRead();
    outcome.isCompressed = input.isCompressed();
    close(descriptor);
    return outcome;
}

/** Half a MiB that does not compress to almost nothing. */
std::string longText()
{
    std::string text;
    for (unsigned i = 0; text.size() < 512 * 1024; ++i)
        text += std::to_string(i * 2654435761U) + '\n';
    return text;
}

} // namespace

TEST(InputBytes, ArePassedOnAsTheyAre)
{
    for (const std::string& content : {std::string(), std::string("a"), std::string("\x1f"), std::string("\x1f\x8c"),
                                       std::string("{}\n"), longText()}) {
        const Outcome outcome = read(content);
        EXPECT_EQ(outcome.result, Result::End);
        EXPECT_EQ(outcome.text, content);
        EXPECT_EQ(outcome.bytesRead, static_cast<qint64>(content.size()));
        EXPECT_FALSE(outcome.isCompressed);
    }
}

TEST(InputBytes, AreDecompressedWhenTheyAreGzip)
{
    for (const std::string& content : {std::string(), std::string("a"), longText()}) {
        const std::string file = gzipped(content);
        const Outcome outcome = read(file);
        EXPECT_EQ(outcome.result, Result::End);
        EXPECT_EQ(outcome.text, content);
        EXPECT_EQ(outcome.bytesRead, static_cast<qint64>(file.size()));
        EXPECT_TRUE(outcome.isCompressed);
    }
}

TEST(InputBytes, MayConsistOfSeveralCompressedFilesAndZeros)
{
    const std::string text = longText();
    const Outcome outcome = read(gzipped("a\n") + gzipped("") + gzipped(text) + std::string(1000, '\0'));
    EXPECT_EQ(outcome.result, Result::End);
    EXPECT_EQ(outcome.text, "a\n" + text);
}

TEST(InputBytes, AreRecognizedFromAPipeThatDeliversThemOneByOne)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const std::string file = gzipped("one by one");
    std::size_t sent = 0;
    InputBytes input(ends[0], [&] {
        if (sent < file.size())
            EXPECT_EQ(write(ends[1], &file[sent++], 1), 1);
        else if (sent++ == file.size())
            close(ends[1]);
        return true;
    });
    std::string text;
    QByteArray piece;
    while (input.next(&piece) == Result::Bytes)
        text += piece.toStdString();
    EXPECT_EQ(text, "one by one");
    EXPECT_EQ(input.error(), "");
    close(ends[0]);
}

TEST(InputBytes, FailWhenTheCompressedDataIsIncompleteOrDamaged)
{
    const std::string text = longText();
    const std::string file = gzipped(text);
    const Outcome cut = read(file.substr(0, file.size() / 2));
    EXPECT_EQ(cut.result, Result::Failed);
    EXPECT_EQ(cut.error, "the compressed data ends too early");
    EXPECT_FALSE(cut.text.empty());
    EXPECT_TRUE(text.starts_with(cut.text));

    std::string damaged = file;
    damaged[damaged.size() - 6] ^= 1; // a byte of the checksum
    EXPECT_EQ(read(damaged).error, "the compressed data is damaged");
    EXPECT_EQ(read("\x1f\x8b no gzip").error, "the compressed data is damaged");
    EXPECT_EQ(read(gzipped("a") + "b").error, "something else follows the compressed data");
    EXPECT_EQ(read("\x1f\x8b").error, "the compressed data ends too early");
}

TEST(InputBytes, StopWhereTheyAreInterrupted)
{
    InputBytes input(-1, [] { return false; });
    QByteArray piece;
    EXPECT_EQ(input.next(&piece), Result::Interrupted);
}
