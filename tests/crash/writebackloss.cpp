#include "writebackloss.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t BlockSize = 4096; // as in writeback.cpp

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

/** The durable bytes, and by chance some blocks of the written ones over them. */
std::string partlyWrittenBack(const std::string& durable, const std::string& written, std::minstd_rand* random)
{
    std::string result = durable;
    // A file that became shorter may be so on disk or not.
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

/** The images; synchronous writes that were under way at the loss of power are not completed any more. */
std::vector<fs::path> imagesIn(const std::string& directory)
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(directory))
        files.push_back(entry.path());
    std::erase_if(files, [](const fs::path& path) {
        return path.filename().string().starts_with(".pending-") && fs::remove(path);
    });
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

WriteBackLoss::WriteBackLoss(std::string tracked, std::string images)
    : tracked_(std::move(tracked)), images_(std::move(images))
{}

std::map<std::string, std::string> WriteBackLoss::environment() const
{
    return {{"LD_PRELOAD", QUORVA_WRITEBACK_LIBRARY},
            {"CRASH_TRACKED_DIRECTORY", tracked_},
            {"CRASH_DURABLE_DIRECTORY", images_}};
}

void WriteBackLoss::loseAll() const
{
    for (const fs::path& image : imagesIn(images_))
        fs::copy_file(image, fs::path(tracked_) / image.filename(), fs::copy_options::overwrite_existing);
}

void WriteBackLoss::loseSome(std::minstd_rand* random) const
{
    for (const fs::path& image : imagesIn(images_)) {
        const fs::path file = fs::path(tracked_) / image.filename();
        const std::string durable = contents(image);
        const std::string left = partlyWrittenBack(durable, fs::exists(file) ? contents(file) : std::string(), random);
        if (left.empty() && coin(random))
            fs::remove(file);
        else
            write(file, left);
    }
    resetImages();
}

/** What is on disk is durable. */
void WriteBackLoss::resetImages() const
{
    for (const fs::path& image : imagesIn(images_)) {
        const fs::path file = fs::path(tracked_) / image.filename();
        if (fs::exists(file))
            fs::copy_file(file, image, fs::copy_options::overwrite_existing);
        else
            fs::remove(image);
    }
}
