#include "support/procfs.h"

#include "support/files.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace ProcFs {

namespace {

std::string directory(pid_t id)
{
    return "/proc/" + std::to_string(id);
}

} // namespace

std::string read(const std::string& path)
{
    return readFile(path);
}

std::string status(pid_t id, const std::string& name)
{
    std::istringstream text(read(directory(id) + "/status"));
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with(name + ':'))
            return line.substr(line.find_first_not_of(" \t", name.size() + 1));
    }
    return {};
}

long sleeps(pid_t id)
{
    const std::string count = status(id, "voluntary_ctxt_switches");
    return count.empty() ? 0 : std::stol(count);
}

long processorTime(pid_t id)
{
    const std::string text = read(directory(id) + "/stat");
    // The second field is the program's name in parentheses; fields 14 and 15 are the times in user and system mode.
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        fields >> skipped;
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return user + system;
}

std::map<int, std::string> descriptors(pid_t id)
{
    std::map<int, std::string> result;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(directory(id) + "/fd", ignored))
        result[std::stoi(entry.path().filename())] = std::filesystem::read_symlink(entry.path(), ignored);
    return result;
}

int descriptorFlags(pid_t id, int descriptor)
{
    std::istringstream text(read(directory(id) + "/fdinfo/" + std::to_string(descriptor)));
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with("flags:"))
            return std::stoi(line.substr(6), nullptr, 8);
    }
    return 0;
}

int listeningPort(pid_t id)
{
    const std::map<int, std::string> open = descriptors(id);
    std::istringstream table(read("/proc/net/tcp"));
    std::string line;
    std::getline(table, line); // headings
    while (std::getline(table, line)) {
        // sl local_address rem_address st queues timer retransmits uid timeout inode
        std::istringstream fields(line);
        std::string skipped, local, state, inode;
        fields >> skipped >> local >> skipped >> state >> skipped >> skipped >> skipped >> skipped >> skipped >> inode;
        if (state != "0A")
            continue;
        for (const auto& [descriptor, target] : open) {
            if (target == "socket:[" + inode + ']')
                return std::stoi(local.substr(local.find(':') + 1), nullptr, 16);
        }
    }
    return 0;
}

} // namespace ProcFs
