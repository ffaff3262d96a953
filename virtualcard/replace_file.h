// Giving a file a new content, all of it or nothing.
#ifndef VIRTUALCARD_REPLACE_FILE_H
#define VIRTUALCARD_REPLACE_FILE_H

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace virtualcard {

/// Why a file could not be written; what() is one line with its name and the reason.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What a name leads to when it is a link: a link stays a link, and what it points at is replaced.
std::string resolvedFile(const std::string &file);

/// Writes a new file beside `target`, which then takes its place and its mode, such that, whenever the process ends,
/// the old or the new content is there, whole. `whenWritten` gets the new file before it takes the place. Returns the
/// new file's status. Throws FileError, and what `whenWritten` throws.
struct stat replaceFile(const std::string &target, std::string_view content,
                        const std::function<void(int fd)> &whenWritten = {});

}  // namespace virtualcard

#endif
