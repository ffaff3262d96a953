#include "csp/rsa_block.h"

#include <cstring>

#include "csp/csp_key.h"

namespace csp {

namespace {

constexpr uint32_t least_padding = 8;
/// Octets of a block beside padding and data.
constexpr uint32_t frame = 3;

/// Where the data of a block begins, or 0 for a block that is not well formed. The padding may be longer than needed
/// and the data shorter than expected: both are meant to pass.
uint32_t find_data(const uint8_t *block, uint32_t size, BlockType type) {
    if (size < frame || block[0] != 0 || block[1] != type)
        return 0;
    uint32_t i = 2;
    while (i < size && (type == private_block ? block[i] == 0xFF : block[i] != 0))
        ++i;
    const bool padded = i < size && block[i] == 0 && i - 2 >= least_padding;
    return padded ? i + 1 : 0;
}

}  // namespace

int32_t raise(const RsaKey *key, Power power, const uint8_t *input, uint32_t length, uint8_t *output) {
    const uint32_t size = RsaKey_get_size(key);
    Number number;
    Number result;
    aa_uchar2aauint(number, 8 * length, input);
    if (!power(key, number, result))
        return -1;
    aa_aauint2uchar(8 * size, output, result);
    return static_cast<int32_t>(size);
}

// An input that is not below the modulus is meant to be taken, and reduced.
int32_t raise_raw(const RsaKey *key, Power power, const Bytestring *input, Bytestring *output) {
    return input->len > RsaKey_get_size(key) ? -1 : raise(key, power, input->data, input->len, output->data);
}

int32_t raise_and_strip(const RsaKey *key, Power power, BlockType type, const Bytestring *input, Bytestring *output) {
    const uint32_t size = RsaKey_get_size(key);
    if (input->len != size)
        return -1;
    const OwnedBlock<uint8_t> block(allocate<uint8_t>(size));
    if (block == nullptr || raise(key, power, input->data, size, block.get()) < 0)
        return -1;
    const uint32_t start = find_data(block.get(), size, type);
    if (start == 0)
        return -1;
    std::memcpy(output->data, block.get() + start, size - start);
    return static_cast<int32_t>(size - start);
}

int32_t pad_and_raise(CspContext *ctx, const RsaKey *key, Power power, BlockType type, WritePadding write_padding,
                      const Bytestring *input, Bytestring *output) {
    const uint32_t size = RsaKey_get_size(key);
    if (size < frame + least_padding || input->len > size - frame - least_padding)
        return -1;
    const OwnedBlock<uint8_t> block(allocate<uint8_t>(size));
    const uint32_t padding = size - frame - input->len;
    if (block == nullptr || !write_padding(ctx, block.get() + 2, padding))
        return -1;
    block.get()[1] = type;
    if (input->len != 0)
        std::memcpy(block.get() + frame + padding, input->data, input->len);
    return raise(key, power, block.get(), size, output->data);
}

}  // namespace csp
