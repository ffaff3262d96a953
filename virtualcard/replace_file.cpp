#include "virtualcard/replace_file.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

#include "virtualcard/descriptor.h"

namespace virtualcard {

namespace {

[[noreturn]] void failed(const std::string &file, const char *what) {
    throw FileError(file + ": " + what + ": " + std::generic_category().message(errno));
}

// A temporary file beside the target that goes away unless it takes the target's place.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string &target) {
        constexpr int attempts = 100;
        for (int i = 0; i < attempts && fd_ < 0; i++) {
            name_ = target + ".new-" + std::to_string(getpid()) + "-" + std::to_string(i);
            fd_ = open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (fd_ < 0 && errno != EEXIST)
                break;
        }
        if (fd_ < 0)
            failed(name_, "cannot create");
    }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    ~TemporaryFile() {
        close(fd_);
        if (!kept_)
            unlink(name_.c_str());
    }
    int descriptor() const {
        return fd_;
    }
    void become(const std::string &target) {
        if (rename(name_.c_str(), target.c_str()) != 0)
            failed(target, "cannot replace");
        kept_ = true;
    }

  private:
    std::string name_;
    int fd_ = -1;
    bool kept_ = false;
};

void writeWhole(int fd, std::string_view text, const std::string &file) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t put = write(fd, text.data() + done, text.size() - done);
        if (put < 0 && errno != EINTR)
            failed(file, "cannot write");
        done += put > 0 ? static_cast<size_t>(put) : 0;
    }
    if (fsync(fd) != 0)
        failed(file, "cannot write");
}

// Until the directory is on the disk, a power cut can bring the old entry back.
void syncDirectory(const std::filesystem::path &file) {
    const std::string directory = file.has_parent_path() ? file.parent_path().string() : ".";
    const Descriptor fd(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd < 0 || fsync(fd) != 0)
        failed(directory, "cannot write");
}

// A new file gets the mode of the one that it replaces.
void copyMode(const std::string &target, int fd) {
    struct stat status = {};
    if (stat(target.c_str(), &status) == 0 && fchmod(fd, status.st_mode & 0777u) != 0)
        failed(target, "cannot write");
}

}  // namespace

std::string resolvedFile(const std::string &file) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::canonical(file, error);
    return error ? file : target.string();
}

struct stat replaceFile(const std::string &target, std::string_view content,
                        const std::function<void(int fd)> &whenWritten) {
    TemporaryFile temporary(target);
    copyMode(target, temporary.descriptor());
    writeWhole(temporary.descriptor(), content, target);
    struct stat status = {};
    if (fstat(temporary.descriptor(), &status) != 0)
        failed(target, "cannot write");
    if (whenWritten)
        whenWritten(temporary.descriptor());
    temporary.become(target);
    syncDirectory(target);
    return status;
}

}  // namespace virtualcard
