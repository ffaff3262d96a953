#include "directory_data.h"

#include <algorithm>
#include <stdexcept>

#include "virtualcard/image.h"

namespace bench {

namespace {

const virtualcard::File &find(const virtualcard::File &df, uint16_t fid) {
    const auto found = std::find_if(df.files.begin(), df.files.end(),
                                    [fid](const virtualcard::File &file) { return file.fid == fid; });
    if (found == df.files.end())
        throw std::runtime_error("the token lacks a file");
    return *found;
}

/// Length of the element at a position of a DER file.
size_t element_length(const Octets &file, size_t at) {
    const size_t first = file.at(at + 1);
    if (first < 0x80)
        return 2 + first;
    size_t length = 0;
    for (size_t n = 0; n < first - 0x80; n++)
        length = length << 8 | file.at(at + 2 + n);
    return 2 + (first - 0x80) + length;
}

}  // namespace

std::string token_file(const std::string &name) {
    return std::string(ZELMO_SOURCE_DIR "/tests/data/tokens/") + name + ".card";
}

DirectoryData directory_data(uint16_t fid, size_t size) {
    const virtualcard::CardImage image = virtualcard::readImage(token_file("transparent"));
    const Octets &file = find(find(image.root, 0x5015), fid).data;
    DirectoryData data;
    data.octets.reserve(size);  // the spans point into it
    for (size_t at = 0;;) {
        if (at >= file.size() || file[at] == 0)
            at = 0;
        const size_t length = element_length(file, at);
        if (data.octets.size() + length > size)
            return data;
        if (file[at] == 0x30) {
            const uint8_t *start = data.octets.data() + data.octets.size();
            data.octets.insert(data.octets.end(), file.begin() + static_cast<ptrdiff_t>(at),
                               file.begin() + static_cast<ptrdiff_t>(at + length));
            data.objects.emplace_back(start, length);
        }
        at += length;
    }
}

}  // namespace bench
