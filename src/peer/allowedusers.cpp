#include "peer/allowedusers.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <limits>

namespace {

constexpr uid_t NoUser = std::numeric_limits<uid_t>::max();

/** The number of the user with this name, or NoUser. */
uid_t userNamed(const std::string& name)
{
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) == ERANGE)
        buffer.resize(2 * buffer.size());
    return found == nullptr ? NoUser : found->pw_uid;
}

uid_t userOf(const std::string& word)
{
    const bool isNumber = std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
    if (!isNumber)
        return userNamed(word);
    uid_t user = NoUser;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), user);
    return error == std::errc() ? user : NoUser;
}

/**
 * Whether the user is mapped in this process's user namespace. All unmapped users appear as one, the overflow user, so
 * allowing that one would allow all of them.
 */
bool isMapped(uid_t user)
{
    std::ifstream map("/proc/self/uid_map");
    for (unsigned long long inside = 0, outside = 0, count = 0; map >> inside >> outside >> count;) {
        if (user >= inside && user - inside < count)
            return true;
    }
    return false;
}

} // namespace

std::string AllowedUsers::restrictTo(std::string_view list)
{
    isRestricted_ = true;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(',', begin), list.size());
        const std::string word(list.substr(begin, end - begin));
        begin = end + 1;
        if (word.empty())
            return "a name is empty";
        const uid_t user = userOf(word);
        if (user == NoUser)
            return "there is no user \"" + word + '"';
        if (!isMapped(user))
            return "the user \"" + word + "\" is not known in this user namespace";
        users_.push_back(user);
    }
    std::sort(users_.begin(), users_.end());
    if (const int error = lookup_.open())
        return "users of connections cannot be looked up, error " + std::to_string(error);
    return {};
}

bool AllowedUsers::admits(int socket, std::string* refusal)
{
    if (!isRestricted_)
        return true;
    uid_t user = NoUser;
    if (const int error = lookup_.find(socket, &user)) {
        *refusal = "its user cannot be determined, error " + std::to_string(error);
        return false;
    }
    if (std::binary_search(users_.begin(), users_.end(), user))
        return true;
    *refusal = "user " + std::to_string(user) + " is not allowed";
    return false;
}
