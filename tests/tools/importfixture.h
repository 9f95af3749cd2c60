#ifndef QUORVA_TESTS_TOOLS_IMPORTFIXTURE_H
#define QUORVA_TESTS_TOOLS_IMPORTFIXTURE_H

#include "toolfixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

inline std::string itemLine(const std::string& hash, int n)
{
    return "{\"h\":{\"S\":\"" + hash + "\"},\"r\":{\"S\":\"" + std::to_string(n) + "\"},\"n\":{\"N\":\"" +
           std::to_string(n) + "\"}}\n";
}

inline std::string itemLines(int first, int last, const std::string& hash = "k")
{
    std::string text;
    for (int n = first; n <= last; ++n)
        text += itemLine(hash, n);
    return text;
}

/** A named pipe that is written piece by piece. */
class Feed {
public:
    explicit Feed(std::string path) : path_(std::move(path))
    {
        EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
        descriptor_ = open(path_.c_str(), O_RDWR | O_CLOEXEC); // unlike O_WRONLY, does not wait for a reader
        EXPECT_GE(descriptor_, 0);
    }
    ~Feed() { end(); }
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    const std::string& path() const { return path_; }
    void write(const std::string& text) const
    {
        EXPECT_EQ(::write(descriptor_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void end()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
        descriptor_ = -1;
    }

private:
    const std::string path_;
    int descriptor_ = -1;
};

inline constexpr const char* OkText = R"({"__rc":200,"__rcstr":"OK"})";

/** The reply to DescribeTable; none to other operations. */
inline std::optional<QByteArray> description(const QByteArray& operation)
{
    if (operation != "DynamoDB_20111205.DescribeTable")
        return std::nullopt;
    const QVariantMap table{{"KeySchema", keySchema()}};
    return Json::serialize(okReply({{"Table", table}}));
}

class ImportCommand : public ToolTest {
protected:
    long long count() const
    {
        const ProgramRun run = quorvactl({"scan", table(), "--count"});
        EXPECT_EQ(run.status, Ok) << run.error;
        return run.output.empty() ? -1 : std::stoll(run.output);
    }

    std::string state() const { return pathOf("state"); }

    /** The line number in the state file. */
    long long stateLine() const
    {
        QVariant parsed;
        if (!Json::parse(QByteArray::fromStdString(readFile(state())), &parsed))
            return -1;
        return parsed.toMap().value("line").toLongLong();
    }

    static std::string stopped(const std::string& why, const std::string& input, int line, int stored, int refused,
                               bool hasState)
    {
        const std::string done = line == 0   ? "no line of " + input + " is done: "
                                 : line == 1 ? "line 1 of " + input + " is done: "
                                             : "lines 1 to " + std::to_string(line) + " of " + input + " are done: ";
        return "quorvactl: import stopped: " + why + "\n  " + done + std::to_string(stored) +
               (stored == 1 ? " item" : " items") + " stored, " + std::to_string(refused) +
               " refused\n  try: the same command" +
               (hasState ? std::string() : " with --skip " + std::to_string(line)) + ", which continues with line " +
               std::to_string(line + 1) + '\n';
    }
};

#endif
