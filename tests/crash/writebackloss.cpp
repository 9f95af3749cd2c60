#include "writebackloss.h"

#include "durablestate.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t BlockSize = 4096; // as in writeback/rawcalls.h

std::string contents(const fs::path& path)
{
    std::string bytes(fs::file_size(path), '\0');
    std::ifstream(path, std::ios::binary).read(bytes.data(), std::ssize(bytes));
    return bytes;
}

void write(const fs::path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), std::ssize(bytes));
}

bool coin(std::minstd_rand* random)
{
    return ((*random)() >> 8) % 2 == 0;
}

/** The durable bytes, with a random selection of the written blocks over them. */
std::string partlyWrittenBack(const std::string& durable, const std::string& written, std::minstd_rand* random)
{
    std::string result = durable;
    // A truncation may have reached the disk or not.
    if (written.size() < durable.size() && coin(random))
        result.resize(written.size());
    for (std::size_t at = 0; at < written.size(); at += BlockSize) {
        const std::string block = written.substr(at, BlockSize);
        if (durable.compare(std::min(at, durable.size()), BlockSize, block) == 0 || coin(random))
            continue;
        result.resize(std::max(result.size(), at + block.size()), '\0');
        result.replace(at, block.size(), block);
    }
    return result;
}

ino_t inodeOf(const fs::path& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

/** Where each file and directory below a directory is. */
void collect(const fs::path& directory, std::map<ino_t, std::string>* paths)
{
    for (const auto& entry : fs::recursive_directory_iterator(directory))
        (*paths)[inodeOf(entry.path())] = entry.path();
}

} // namespace

WriteBackLoss::WriteBackLoss(Directories directories) : directories_(std::move(directories))
{
    reset();
}

std::map<std::string, std::string> WriteBackLoss::environment() const
{
    return {{"LD_PRELOAD", QUORVA_WRITEBACK_LIBRARY},
            {"CRASH_ENVIRONMENT", directories_.environment},
            {"CRASH_STRICT_DIRECTORY", directories_.strict},
            {"CRASH_DURABLE_DIRECTORY", directories_.state}};
}

void WriteBackLoss::settle(const std::string& path) const
{
    settleName(path);
    if (!fs::is_directory(path))
        return;
    fs::remove_all(fs::path(directories_.state) / DurableState::namesOf(inodeOf(path)));
    for (const auto& entry : fs::directory_iterator(path))
        settle(entry.path());
}

/** The name of a file or directory, and the bytes of a file. */
void WriteBackLoss::settleName(const std::string& path) const
{
    const fs::path state = directories_.state;
    const fs::path names = state / DurableState::namesOf(inodeOf(fs::path(path).parent_path()));
    const ino_t inode = inodeOf(path);
    const bool isDirectory = fs::is_directory(path);
    if (!isDirectory) {
        fs::remove(state / DurableState::bytesOf(inode)); // overwriting makes some file systems wait for the disk
        fs::copy_file(path, state / DurableState::bytesOf(inode));
        if (!fs::exists(state / DurableState::held(inode)))
            fs::create_hard_link(path, state / DurableState::held(inode));
    }
    fs::create_directory(names);
    const fs::path name = names / fs::path(path).filename();
    fs::remove(name);
    fs::create_symlink(DurableState::entry(isDirectory ? DurableState::DirectoryKind : DurableState::FileKind, inode),
                       name);
}

void WriteBackLoss::loseAll() const
{
    lose({.names = [](const Names& durable, const Names&) { return durable; },
          .bytes = [](const std::string& durable, const std::string&) { return durable; }});
}

void WriteBackLoss::loseSome(std::minstd_rand* random) const
{
    lose({.names = [&](const Names& durable, const Names& present) { return someNames(durable, present, random); },
          .bytes = [&](const std::string& durable,
                       const std::string& written) { return partlyWrittenBack(durable, written, random); }});
}

WriteBackLoss::Names WriteBackLoss::durableNames(ino_t directory) const
{
    Names names;
    const fs::path list = fs::path(directories_.state) / DurableState::namesOf(directory);
    if (!fs::exists(list))
        return names;
    for (const auto& entry : fs::directory_iterator(list)) {
        const std::string target = fs::read_symlink(entry.path()).string();
        names[entry.path().filename().string()] = {target.front(), std::stoul(target.substr(1))};
    }
    return names;
}

WriteBackLoss::Names WriteBackLoss::presentNames(const std::string& directory)
{
    Names names;
    for (const auto& entry : fs::directory_iterator(directory)) {
        const char kind = entry.is_directory() ? DurableState::DirectoryKind : DurableState::FileKind;
        if (entry.is_directory() || entry.is_regular_file())
            names[entry.path().filename().string()] = {kind, inodeOf(entry.path())};
    }
    return names;
}

WriteBackLoss::Names WriteBackLoss::someNames(const Names& durable, const Names& present, std::minstd_rand* random)
{
    if (coin(random))
        return coin(random) ? durable : present;
    const auto leads = [](const Names& names, const Entry& entry) {
        return std::any_of(names.begin(), names.end(), [&](const auto& name) { return name.second == entry; });
    };
    for (int attempts = 100; attempts > 0; --attempts) {
        Names some;
        for (const auto& [name, entry] : durable) {
            const auto other = present.find(name);
            const bool isReplaced = other != present.end() && other->second != entry;
            // A name was free for a time when its file was moved away, but not when the file was replaced.
            const bool wasFree = isReplaced && leads(present, entry) && coin(random);
            if (other != present.end() && !isReplaced)
                some.insert(*other);
            else if (coin(random))
                some[name] = entry;
            else if (isReplaced && !wasFree)
                some.insert(*other);
        }
        for (const auto& [name, entry] : present) {
            if (!durable.contains(name) && coin(random))
                some[name] = entry;
        }
        if (std::all_of(durable.begin(), durable.end(),
                        [&](const auto& name) { return !leads(present, name.second) || leads(some, name.second); }))
            return some;
    }
    return durable;
}

/** Fills `target` with what is left of a directory. `paths` has what exists; what was removed is in the state. */
void WriteBackLoss::leave(const Loss& loss, ino_t directory, const std::string& target,
                          const std::map<ino_t, std::string>& paths) const
{
    const fs::path state = directories_.state;
    const auto path = paths.find(directory);
    const Names present = path == paths.end() ? Names() : presentNames(path->second);
    for (const auto& [name, entry] : loss.names(durableNames(directory), present)) {
        const fs::path left = fs::path(target) / name;
        if (entry.kind == DurableState::DirectoryKind) {
            fs::create_directory(left);
            leave(loss, entry.inode, left, paths);
            continue;
        }
        const auto there = paths.find(entry.inode);
        const fs::path written =
            there == paths.end() ? state / DurableState::held(entry.inode) : fs::path(there->second);
        const fs::path durable = state / DurableState::bytesOf(entry.inode);
        write(left, loss.bytes(fs::exists(durable) ? contents(durable) : std::string(), contents(written)));
    }
}

void WriteBackLoss::lose(const Loss& loss) const
{
    const fs::path left = fs::path(directories_.state) / "left";
    for (const std::string& root : {directories_.environment, directories_.strict}) {
        if (root.empty())
            continue;
        std::map<ino_t, std::string> paths{{inodeOf(root), root}};
        collect(root, &paths);
        fs::create_directory(left);
        leave(loss, inodeOf(root), left, paths);
        for (const auto& entry : fs::directory_iterator(root))
            fs::remove_all(entry.path());
        for (const auto& entry : fs::directory_iterator(left))
            fs::rename(entry.path(), fs::path(root) / entry.path().filename());
    }
    reset();
}

/** Everything that is there becomes durable. Synchronous writes in progress are forgotten. */
void WriteBackLoss::reset() const
{
    for (const auto& entry : fs::directory_iterator(directories_.state))
        fs::remove_all(entry.path());
    for (const std::string& root : {directories_.environment, directories_.strict}) {
        if (!root.empty())
            for (const auto& entry : fs::directory_iterator(root))
                settle(entry.path());
    }
}
