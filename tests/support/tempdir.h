#ifndef QUORVA_TESTS_SUPPORT_TEMPDIR_H
#define QUORVA_TESTS_SUPPORT_TEMPDIR_H

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/** A fresh directory in $TMPDIR (or /tmp); the destructor removes it with its content. */
class TempDir {
public:
    TempDir()
    {
        const char* base = std::getenv("TMPDIR");
        path_ = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/quorva-test-XXXXXX";
        if (mkdtemp(path_.data()) == nullptr) {
            std::perror("mkdtemp");
            std::abort(); // no test is meaningful without its directory
        }
    }
    ~TempDir()
    {
        // Restores permissions that tests have removed from directories, which could not be emptied otherwise.
        namespace fs = std::filesystem;
        std::error_code ignored;
        fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ignored);
        constexpr auto options = fs::directory_options::skip_permission_denied;
        for (fs::recursive_directory_iterator entry(path_, options, ignored), end; entry != end;
             entry.increment(ignored)) {
            if (ignored)
                break;
            if (entry->is_directory(ignored) && !entry->is_symlink(ignored))
                fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        }
        fs::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /** Without a "/" at the end. */
    const std::string& path() const { return path_; }
    QByteArray bytes() const { return QByteArray::fromStdString(path_); }

    /** The path of `name` inside the directory; nothing is created. */
    std::string file(const std::string& name) const { return path_ + '/' + name; }

    /** Creates the directory `name` inside this one and returns its path. */
    std::string makeDirectory(const std::string& name) const
    {
        std::string directory = file(name);
        std::error_code ignored;
        std::filesystem::create_directories(directory, ignored);
        return directory;
    }

private:
    std::string path_;
};

#endif
