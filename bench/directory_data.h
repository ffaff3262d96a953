// Directory files for the benchmarks, made of the objects of a test token.
#ifndef ZELMOP15_BENCH_DIRECTORY_DATA_H
#define ZELMOP15_BENCH_DIRECTORY_DATA_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace bench {

using Octets = std::vector<uint8_t>;

/// A directory file and where its objects stand.
struct DirectoryData {
    Octets octets;
    std::vector<std::span<const uint8_t>> objects;
};

/// Path of a test token's image.
std::string token_file(const std::string &name);

/// The objects of a directory file of the transparent test token, over and over, up to `size` octets. Objects whose
/// first octet is not 30 are left out: the library keeps them as bytes.
DirectoryData directory_data(uint16_t fid, size_t size);

}  // namespace bench

#endif
