#include "virtualcard/image_hold.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "virtualcard/descriptor.h"

namespace virtualcard {

namespace {

[[noreturn]] void failed(const std::string &file, const char *what) {
    throw ImageError(file + ": " + what + ": " + std::generic_category().message(errno));
}

// A lock that belongs to the open file, not to the process: two openings in one process keep each other out as well.
struct flock wholeFile(short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

bool lockWhole(int fd) {
    const bool writable = (fcntl(fd, F_GETFL) & O_ACCMODE) != O_RDONLY;
    struct flock lock = wholeFile(writable ? F_WRLCK : F_RDLCK);
    return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

int openForLock(const std::string &file) {
    const int fd = open(file.c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY);
    // A file that cannot be written is held by a lock for readers: isHeld() sees that as well.
    return fd >= 0 ? fd : open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
}

bool isStill(const std::string &file, int fd) {
    struct stat named = {};
    struct stat opened = {};
    return stat(file.c_str(), &named) == 0 && fstat(fd, &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

}  // namespace

bool isHeld(int fd) {
    struct flock lock = wholeFile(F_WRLCK);
    return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool isHeld(const std::string &file) {
    const Descriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    return fd >= 0 && isHeld(static_cast<int>(fd));
}

// Who is just writing the file is waited for, and then has replaced it.
ImageHold::ImageHold(const std::string &file) {
    for (;;) {
        const Descriptor fd(openForLock(file));
        if (fd < 0 || flock(fd, LOCK_EX) != 0)
            failed(file, "cannot open");
        if (!isStill(file, fd))
            continue;
        if (isHeld(static_cast<int>(fd)) || !lockWhole(fd))
            throw ImageBusy(file + ": is in use by another program");
        flock(fd, LOCK_UN);
        fd_ = fcntl(fd, F_DUPFD_CLOEXEC, 0);
        if (fd_ < 0)
            failed(file, "cannot hold");
        return;
    }
}

ImageHold::~ImageHold() {
    move();
    if (fd_ >= 0)
        close(fd_);
}

void ImageHold::reach(int fd) {
    if (next_ >= 0)
        close(next_);
    next_ = lockWhole(fd) ? fcntl(fd, F_DUPFD_CLOEXEC, 0) : -1;
    if (next_ < 0)
        failed("image", "cannot hold");
}

void ImageHold::move() {
    if (next_ < 0)
        return;
    close(std::exchange(fd_, std::exchange(next_, -1)));
}

}  // namespace virtualcard
