// Reading and writing whole files. 0 is success and -1 any failure, whose cause is not told.
#ifndef ZELMOP15_RUNTIME_FILEIO_H
#define ZELMOP15_RUNTIME_FILEIO_H

#include <cstdint>

#include "runtime/bytestring.h"

extern "C" {

/// Stores the size of a regular file of less than 4 GiB. Anything else, and a null argument, fails.
int32_t file_len(const char *path, uint32_t *size);
/// Reads a regular file into `buffer`. `*length` is the buffer's room, and becomes the number of octets read; it is
/// left alone when the file does not fit or cannot be read in full.
int32_t file_read(const char *path, uint8_t *buffer, uint32_t *length);
/// Reads a file into a new value, owned by the caller; `*result` is null after a failure.
int32_t file_read_bs(const char *path, Bytestring **result);
/// Writes `count` octets over a file, or to standard output for a null path. A file that could not be written in full
/// is left as it is then.
int32_t file_write(const char *path, const uint8_t *buffer, uint32_t count);
/// The same from a value, which must not be null.
int32_t file_write_bs(const char *path, const Bytestring *bs);
}

#endif
