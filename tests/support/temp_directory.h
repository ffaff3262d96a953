// A directory of a test's own.
#ifndef TESTS_SUPPORT_TEMP_DIRECTORY_H
#define TESTS_SUPPORT_TEMP_DIRECTORY_H

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/// Removed with its content at the end of its life.
class TempDirectory {
  public:
    TempDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "zelmo-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), name);
        path_ = name;
    }
    TempDirectory(const TempDirectory &) = delete;
    TempDirectory &operator=(const TempDirectory &) = delete;
    ~TempDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path &path() const {
        return path_;
    }
    std::string file(const std::string &name) const {
        return (path_ / name).string();
    }

  private:
    std::filesystem::path path_;
};

#endif
