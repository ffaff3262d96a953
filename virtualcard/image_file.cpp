// Image files on the disk.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "virtualcard/image.h"

namespace virtualcard {

namespace {

[[noreturn]] void failed(const std::string &file, const char *what) {
    throw ImageError(file + ": " + what + ": " + std::generic_category().message(errno));
}

class Descriptor {
  public:
    Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() {
        if (fd_ >= 0)
            close(fd_);
    }
    operator int() const {
        return fd_;
    }

  private:
    int fd_;
};

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

FileIdentity identityOf(const struct stat &status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

std::string readWhole(int fd, const std::string &file) {
    std::string text;
    char piece[65536];
    for (ssize_t got = 0; (got = read(fd, piece, sizeof piece)) != 0;) {
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            failed(file, "cannot read");
        text.append(piece, static_cast<size_t>(got));
        // One piece beyond the bound is enough for the parser to refuse it.
        if (text.size() > limits::imageText)
            break;
    }
    return text;
}

void writeWhole(int fd, const std::string &text, const std::string &file) {
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

// A link stays a link: what it points at is replaced.
std::string resolved(const std::string &file) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::canonical(file, error);
    return error ? file : target.string();
}

// A new file gets the mode of the one that it replaces.
void copyMode(const std::string &target, int fd) {
    struct stat status = {};
    if (stat(target.c_str(), &status) == 0 && fchmod(fd, status.st_mode & 0777u) != 0)
        failed(target, "cannot write");
}

FileIdentity replace(const std::string &target, const CardImage &image) {
    TemporaryFile temporary(target);
    copyMode(target, temporary.descriptor());
    writeWhole(temporary.descriptor(), formatImage(image), target);
    struct stat status = {};
    if (fstat(temporary.descriptor(), &status) != 0)
        failed(target, "cannot write");
    temporary.become(target);
    syncDirectory(target);
    return identityOf(status);
}

}  // namespace

CardImage readImage(const std::string &file, FileIdentity &identity) {
    const Descriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0)
        failed(file, "cannot open");
    if (!S_ISREG(status.st_mode))
        throw ImageError(file + ": is no regular file");
    identity = identityOf(status);
    return parseImage(readWhole(fd, file), file);
}

CardImage readImage(const std::string &file) {
    FileIdentity identity;
    return readImage(file, identity);
}

void writeImage(const std::string &file, const CardImage &image) {
    replace(resolved(file), image);
}

void writeImage(const std::string &file, const CardImage &image, FileIdentity &identity) {
    const std::string target = resolved(file);
    // Whoever else would replace the file waits here, and then sees that it is not the file any more.
    const Descriptor fd(open(target.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    if (fd < 0 || flock(fd, LOCK_EX) != 0 || stat(target.c_str(), &status) != 0)
        failed(file, "cannot open");
    if (identityOf(status) != identity)
        throw ImageError(file + ": has been changed by somebody else since it was read");
    identity = replace(target, image);
}

}  // namespace virtualcard
