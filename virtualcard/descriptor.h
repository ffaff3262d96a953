// An open file.
#ifndef VIRTUALCARD_DESCRIPTOR_H
#define VIRTUALCARD_DESCRIPTOR_H

#include <unistd.h>

namespace virtualcard {

/// Closes a descriptor at the end of its life; below 0 there is none.
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

}  // namespace virtualcard

#endif
