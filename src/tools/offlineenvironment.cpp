#include "tools/offlineenvironment.h"

#include <system_error>

namespace fs = std::filesystem;

namespace OfflineEnvironment {

namespace {

constexpr u_int32_t CacheBytes = 64 * 1024 * 1024;

} // namespace

std::unique_ptr<DbEnv> open(const fs::path& directory, u_int32_t flags, std::string* error)
{
    return open(directory, directory, flags, error);
}

std::unique_ptr<DbEnv> open(const fs::path& databases, const fs::path& logs, u_int32_t flags, std::string* error)
{
    auto env = std::make_unique<DbEnv>(DB_CXX_NO_EXCEPTIONS);
    env->set_errcall(ignoreMessage);
    std::error_code ignored;
    const fs::path absolute = fs::absolute(databases, ignored);
    // None of these can fail before the environment is open.
    (void)env->set_cachesize(0, CacheBytes, 1);
    (void)env->set_data_dir(absolute.c_str());
    (void)env->set_lg_dir(fs::absolute(logs, ignored).c_str());
    (void)env->set_intermediate_dir_mode("rwx------"); // table names may contain directories
    const int rc = env->open((absolute / "no-home").c_str(), flags, 0);
    if (rc == 0)
        return env;
    *error = describe("recovery failed", rc);
    (void)env->close(0);
    return nullptr;
}

std::string describe(const std::string& what, int rc)
{
    return what + ": " + DbEnv::strerror(rc);
}

void ignoreMessage(const DbEnv*, const char*, const char*) {}

} // namespace OfflineEnvironment
