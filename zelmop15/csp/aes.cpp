// Rijndael with all nine combinations of key and block size. A column of the state is one word, its first octet on
// top; a round is four table look-ups for each column.
#include <array>
#include <bit>
#include <utility>

#include "csp/mf.h"
#include "csp/words.h"
#include "runtime/owned.h"

namespace {

using csp::load_big32;
using csp::store_big32;

constexpr uint32_t max_columns = 8;
constexpr uint32_t max_rounds = 14;

constexpr int32_t bad_key_size = -2;
constexpr int32_t bad_state = -5;

using Box = std::array<uint8_t, 256>;
/// One table for each octet of a column, the later ones rotated copies of the first.
using RoundTables = std::array<std::array<uint32_t, 256>, 4>;

/// Product in GF(2^8), modulo x^8 + x^4 + x^3 + x + 1.
constexpr uint32_t times(uint32_t a, uint32_t b) {
    uint32_t product = 0;
    for (; b != 0; b >>= 1) {
        if ((b & 1) != 0)
            product ^= a;
        a = a << 1 ^ ((a & 0x80) != 0 ? 0x11B : 0);
    }
    return product;
}

/// The S-box: the inverse in the field, then an affine map of its bits. Walks the powers of 3 and of its inverse F6
/// side by side, which meet every number but 0.
constexpr Box make_box() {
    Box box = {};
    uint32_t number = 1;
    uint32_t inverse = 1;
    for (uint32_t power = 0; power < 255; ++power) {
        const auto i = static_cast<uint8_t>(inverse);
        box[number] =
            static_cast<uint8_t>(i ^ std::rotl(i, 1) ^ std::rotl(i, 2) ^ std::rotl(i, 3) ^ std::rotl(i, 4) ^ 0x63);
        number = times(number, 3);
        inverse = times(inverse, 0xF6);
    }
    box[0] = 0x63;
    return box;
}

constexpr Box invert(const Box &box) {
    Box inverse = {};
    for (uint32_t i = 0; i < 256; ++i)
        inverse[box[i]] = static_cast<uint8_t>(i);
    return inverse;
}

/// S-box and mixing of the columns in one: `column` holds the four factors of an octet.
constexpr RoundTables make_tables(const Box &box, uint32_t column) {
    RoundTables tables = {};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t word = 0;
        for (uint32_t shift = 0; shift < 32; shift += 8)
            word |= times(box[i], column >> shift & 0xFF) << shift;
        for (int row = 0; row < 4; ++row)
            tables[static_cast<size_t>(row)][i] = std::rotr(word, 8 * row);
    }
    return tables;
}

constexpr Box box = make_box();
constexpr Box inverse_box = invert(box);
constexpr RoundTables encipher_tables = make_tables(box, 0x02010103);
constexpr RoundTables decipher_tables = make_tables(inverse_box, 0x0E090D0B);

struct AesContext {
    uint32_t key_bits, mode, block_bits, rounds;
    /// Round keys in the order of their use: to encipher, to decipher.
    uint32_t keys[2][max_columns * (max_rounds + 1)];
};

constexpr uint32_t octet(uint32_t word, uint32_t row) {
    return word >> (24 - 8 * row) & 0xFF;
}

uint32_t substitute(uint32_t word) {
    return uint32_t{box[octet(word, 0)]} << 24 | uint32_t{box[octet(word, 1)]} << 16 |
           uint32_t{box[octet(word, 2)]} << 8 | uint32_t{box[octet(word, 3)]};
}

void expand_key(AesContext *context, const uint8_t *key, uint32_t count) {
    uint32_t *const keys = context->keys[0];
    const uint32_t key_columns = context->key_bits / 32;
    for (uint32_t i = 0; i < key_columns; ++i)
        keys[i] = load_big32(key + size_t{4} * i);
    uint32_t round_constant = 1;
    for (uint32_t i = key_columns; i < count; ++i) {
        uint32_t word = keys[i - 1];
        if (i % key_columns == 0) {
            word = substitute(std::rotl(word, 8)) ^ round_constant << 24;
            round_constant = times(round_constant, 2);
        } else if (key_columns > 6 && i % key_columns == 4) {
            word = substitute(word);
        }
        keys[i] = keys[i - key_columns] ^ word;
    }
}

/// The deciphering keys: the rounds backwards, and all but the outer two through the inverse mixing, so that a round
/// has the same steps in both directions.
void invert_keys(AesContext *context, uint32_t columns) {
    for (uint32_t round = 0; round <= context->rounds; ++round) {
        const uint32_t *const from = context->keys[0] + size_t{context->rounds - round} * columns;
        uint32_t *const to = context->keys[1] + size_t{round} * columns;
        for (uint32_t i = 0; i < columns; ++i) {
            to[i] = from[i];
            if (round == 0 || round == context->rounds)
                continue;
            to[i] = 0;
            for (uint32_t row = 0; row < 4; ++row)
                to[i] ^= decipher_tables[row][box[octet(from[i], row)]];
        }
    }
}

/// The state of a block of `Columns` columns. The steps are spelled out for each column when they are compiled, so that
/// the columns stay in registers.
template <uint32_t Columns, bool Decipher>
class State {
  public:
    State(const uint8_t *in, const uint32_t *key) : State(in, key, Indexes()) {}
    void mix(const uint32_t *key) {
        mix(key, Indexes());
    }
    /// The last round, which does not mix.
    void finish(const uint32_t *key, uint8_t *out) const {
        finish(key, out, Indexes());
    }

  private:
    using Indexes = std::make_integer_sequence<uint32_t, Columns>;
    static constexpr const RoundTables &tables = Decipher ? decipher_tables : encipher_tables;
    static constexpr const Box &last_box = Decipher ? inverse_box : box;

    template <uint32_t... I>
    State(const uint8_t *in, const uint32_t *key, std::integer_sequence<uint32_t, I...> /*unused*/) {
        ((columns_[I] = load_big32(in + size_t{4} * I) ^ key[I]), ...);
    }
    template <uint32_t... I>
    void mix(const uint32_t *key, std::integer_sequence<uint32_t, I...> /*unused*/) {
        const uint32_t next[] = {(mixed(I) ^ key[I])...};
        ((columns_[I] = next[I]), ...);
    }

    template <uint32_t... I>
    void finish(const uint32_t *key, uint8_t *out, std::integer_sequence<uint32_t, I...> /*unused*/) const {
        (store_big32(out + size_t{4} * I, substituted(I) ^ key[I]), ...);
    }

    /// The column that an octet of a row comes from: as far ahead (to encipher) or behind (to decipher) as the row is
    /// shifted, by 1, 2 and 3, or 1, 3 and 4 in the greatest block.
    [[nodiscard]] uint32_t source(uint32_t column, uint32_t row) const {
        const uint32_t shift = Columns == 8 && row > 1 ? row + 1 : row;
        return columns_[(column + (Decipher ? Columns - shift : shift)) % Columns];
    }
    [[nodiscard]] uint32_t mixed(uint32_t column) const {
        return tables[0][octet(source(column, 0), 0)] ^ tables[1][octet(source(column, 1), 1)] ^
               tables[2][octet(source(column, 2), 2)] ^ tables[3][octet(source(column, 3), 3)];
    }

    [[nodiscard]] uint32_t substituted(uint32_t column) const {
        return uint32_t{last_box[octet(source(column, 0), 0)]} << 24 |
               uint32_t{last_box[octet(source(column, 1), 1)]} << 16 |
               uint32_t{last_box[octet(source(column, 2), 2)]} << 8 | last_box[octet(source(column, 3), 3)];
    }

    uint32_t columns_[Columns];
};

template <uint32_t Columns, bool Decipher>
void turn(const AesContext *context, const uint8_t *in, uint8_t *out) {
    const uint32_t *key = context->keys[Decipher ? 1 : 0];
    const uint32_t *const last = key + size_t{context->rounds} * Columns;
    State<Columns, Decipher> state(in, key);
    for (key += Columns; key != last; key += Columns)
        state.mix(key);
    state.finish(last, out);
}

bool is_size(uint32_t bits) {
    return bits == 128 || bits == 192 || bits == 256;
}

using Turn = void (*)(const AesContext *context, const uint8_t *in, uint8_t *out);
/// By direction and block size.
constexpr Turn turns[2][3] = {{turn<4, false>, turn<6, false>, turn<8, false>},
                              {turn<4, true>, turn<6, true>, turn<8, true>}};

int32_t turn_blocks(const void *block, const uint8_t *in, uint32_t bits, uint8_t *out, uint32_t direction) {
    const auto *const context = static_cast<const AesContext *>(block);
    if (context == nullptr)
        return bad_state;
    if (!is_size(context->key_bits))
        return bad_key_size;
    if (context->mode != 1 || !is_size(context->block_bits))
        return bad_state;
    const Turn turn_block = turns[direction][context->block_bits / 64 - 2];
    const uint32_t count = bits / context->block_bits;
    const size_t length = context->block_bits / 8;
    for (uint32_t i = 0; i < count; ++i)
        turn_block(context, in + i * length, out + i * length);
    return static_cast<int32_t>(count * context->block_bits);
}

}  // namespace

extern "C" {

// The initial value has no use: chaining is the caller's, and the modes that would need it turn nothing.
void *mf_aesinit(uint32_t key_bits, const uint8_t *key, uint32_t mode, uint32_t block_bits, const uint8_t * /*iv*/) {
    if (!is_size(key_bits) || !is_size(block_bits) || mode < 1 || mode > 3)
        return nullptr;
    auto *const context = allocate<AesContext>();
    if (context == nullptr)
        return nullptr;
    const uint32_t columns = block_bits / 32;
    const uint32_t rounds = (key_bits > block_bits ? key_bits : block_bits) / 32 + 6;
    context->key_bits = key_bits;
    context->mode = mode;
    context->block_bits = block_bits;
    context->rounds = rounds;
    expand_key(context, key, columns * (rounds + 1));
    invert_keys(context, columns);
    return context;
}

int32_t mf_blockEncrypt(void *context, const uint8_t *in, uint32_t bits, uint8_t *out) {
    return turn_blocks(context, in, bits, out, 0);
}

int32_t mf_blockDecrypt(void *context, const uint8_t *in, uint32_t bits, uint8_t *out) {
    return turn_blocks(context, in, bits, out, 1);
}
}
