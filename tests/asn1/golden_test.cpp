// Encodings made by independent encoders: each is read, written back, copied, cut at every length and spoiled in every
// length octet. The file names the type, the octets and what must come back.
#include <fstream>
#include <gtest/gtest.h>
#include <map>

#include "asn1/bytes.h"
#include "asn1/record_table.h"

namespace {

using Block = std::map<std::string, std::string>;

std::vector<Block> read_blocks(const std::string &path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.good()) << path;
    std::vector<Block> blocks;
    Block block;
    for (std::string line; std::getline(file, line);) {
        if (line.empty()) {
            if (!block.empty())
                blocks.push_back(std::move(block));
            block.clear();
        } else if (line[0] != '#') {
            const size_t equals = line.find(" = ");
            EXPECT_NE(equals, std::string::npos) << line;
            block[line.substr(0, equals)] = line.substr(equals + 3);
        }
    }
    if (!block.empty())
        blocks.push_back(std::move(block));
    return blocks;
}

std::string take(Block &block, const char *name) {
    const auto node = block.extract(name);
    return node.empty() ? std::string() : node.mapped();
}

struct Vector {
    const RecordType *type;
    std::string hex, written, comment;
};

std::vector<Vector> read_vectors(const std::string &file) {
    std::vector<Vector> vectors;
    for (Block &block : read_blocks(ZELMO_SOURCE_DIR "/tests/data/" + file)) {
        Vector v;
        const std::string type = take(block, "Type");
        v.type = find_record_type(type);
        v.hex = take(block, "Hex");
        v.written = take(block, "Reencodes");
        v.comment = take(block, "Comment");
        EXPECT_NE(v.type, nullptr) << type;
        EXPECT_TRUE(block.empty()) << "nobody reads " << block.begin()->first;
        if (v.type != nullptr)
            vectors.push_back(std::move(v));
    }
    return vectors;
}

std::vector<Vector> read_vectors() {
    std::vector<Vector> vectors = read_vectors("golden.txt");
    for (Vector &v : read_vectors("golden-keys.txt"))
        vectors.push_back(std::move(v));
    return vectors;
}

// A template without a path is read, but writing it is a programming error.
bool may_be_written(const RecordType *type, const void *value) {
    return type != find_record_type("DIRRecord") || static_cast<const DIRRecord *>(value)->path != nullptr;
}

TEST(Golden, IsReadToTheEndAndWrittenBack) {
    const auto vectors = read_vectors();
    ASSERT_GT(vectors.size(), 80u);
    for (const Vector &v : vectors) {
        const Input input(v.hex);
        void *value = nullptr;
        ASSERT_EQ(v.type->d(input.begin(), input.end(), 0, &value, 0), input.end()) << v.type->name << v.comment;
        const auto write = [&](const void *record) {
            return to_hex(encode([&](uint8_t **cursor) { return v.type->e(cursor, record); }));
        };
        const std::string expected = to_hex(from_hex(v.written == "same" ? v.hex : v.written));
        EXPECT_EQ(write(value), expected) << v.type->name << " " << v.comment;
        if (v.type->clone != nullptr) {
            void *copy = v.type->clone(value);
            EXPECT_EQ(write(copy), expected);
            v.type->free(copy);
        }
        v.type->free(value);
    }
}

// Published forms outside the supported ones: refused, or read and not writable ("none").
TEST(Golden, RefusesWhatIsNotSupported) {
    const auto vectors = read_vectors("golden-refused.txt");
    ASSERT_GE(vectors.size(), 20u);
    for (const Vector &v : vectors) {
        ASSERT_TRUE(v.written == "refused" || v.written == "none") << v.written;
        const Input input(v.hex);
        void *value = nullptr;
        const uint8_t *z = v.type->d(input.begin(), input.end(), 0, &value, 0);
        EXPECT_EQ(z == nullptr, v.written == "refused") << v.type->name << " " << v.comment;
        EXPECT_EQ(value == nullptr, v.written == "refused") << v.type->name << " " << v.comment;
        if (value != nullptr) {
            EXPECT_EQ(v.type->e(nullptr, value), 0u) << v.type->name << " " << v.comment;
        }
        v.type->free(value);
    }
}

// What follows a value is left alone, and no octet behind the end is read.
TEST(Golden, StopsAtItsEnd) {
    for (const Vector &v : read_vectors()) {
        Bytes octets = from_hex(v.hex);
        const size_t length = octets.size();
        octets.insert(octets.end(), {0x30, 0x00});
        const Input longer(octets);
        void *value = nullptr;
        EXPECT_EQ(v.type->d(longer.begin(), longer.end(), 0, &value, 0), longer.begin() + length) << v.type->name;
        v.type->free(value);
        for (size_t cut = 0; cut < length; ++cut) {
            const Input shorter(Bytes(longer.begin(), longer.begin() + cut));
            value = nullptr;
            EXPECT_EQ(v.type->d(shorter.begin(), shorter.end(), 0, &value, 0), nullptr) << v.type->name << cut;
            EXPECT_EQ(value, nullptr);
        }
    }
}

// Any octet may be wrong: the decoder answers, and what it accepts can be written and released.
TEST(Golden, SurvivesEveryWrongOctet) {
    for (const Vector &v : read_vectors()) {
        const Bytes octets = from_hex(v.hex);
        for (size_t i = 0; i < octets.size(); ++i) {
            for (const int change : {0x01, 0x20, 0x80, 0xFF}) {
                Bytes spoiled = octets;
                spoiled[i] = static_cast<uint8_t>(spoiled[i] ^ change);
                const Input input(spoiled);
                void *value = nullptr;
                const uint8_t *z = v.type->d(input.begin(), input.end(), 0, &value, 0);
                ASSERT_EQ(z == nullptr, value == nullptr);
                ASSERT_LE(z, input.end());
                if (z != nullptr && may_be_written(v.type, value))
                    encode([&](uint8_t **cursor) { return v.type->e(cursor, value); });
                v.type->free(value);
            }
        }
    }
}

}  // namespace
