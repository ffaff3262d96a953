// Keeping everybody else out of an image file for a while.
#ifndef VIRTUALCARD_IMAGE_HOLD_H
#define VIRTUALCARD_IMAGE_HOLD_H

#include <string>

#include "virtualcard/image.h"

namespace virtualcard {

/// Somebody else holds the image file.
class ImageBusy : public ImageError {
  public:
    using ImageError::ImageError;
};

/// Holds an image file from now to the end of its life, through any number of replacements. The hold is a lock on the
/// file, so it ends with the process at the latest and leaves nothing behind.
class ImageHold {
  public:
    /// Throws ImageBusy when somebody else holds the file, ImageError when it cannot be held.
    explicit ImageHold(const std::string &file);
    ImageHold(const ImageHold &) = delete;
    ImageHold &operator=(const ImageHold &) = delete;
    ~ImageHold();

    /// Holds the file behind `fd`, too, which is about to take the held file's place. Throws ImageError.
    void reach(int fd);
    /// The file of reach() has taken the place; the old one is let go.
    void move();

  private:
    int fd_ = -1;
    int next_ = -1;
};

/// Whether anybody holds the file behind this descriptor, which must not be a hold's own.
bool isHeld(int fd);
/// The same of a file by its name; one that cannot be opened is not held.
bool isHeld(const std::string &file);

}  // namespace virtualcard

#endif
