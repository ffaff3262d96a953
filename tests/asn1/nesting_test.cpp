// Nesting of any depth in a thread with a small stack.
#include <cstring>
#include <gtest/gtest.h>
#include <pthread.h>

#include "asn1/record_table.h"

namespace {

constexpr size_t small_stack = 256 * 1024;

template <class Work>
void on_small_stack(Work work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, small_stack), 0);
    pthread_t thread;
    const auto run = [](void *argument) -> void * {
        (*static_cast<Work *>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

struct Level {
    std::vector<std::pair<uint8_t, Bytes>> headers;  ///< Tags, each with the octets at the start of its content.
    Bytes tail;                                      ///< Octets behind what is inside.
};

/// `core` in so many levels that the whole has about `size` octets.
Bytes nested(const Level &level, const Bytes &core, size_t size) {
    Bytes reversed(core.rbegin(), core.rend());  // written from the back
    size_t behind = 0;
    const auto put = [&](const uint8_t *first, const uint8_t *last) {
        while (last != first)
            reversed.push_back(*--last);
    };
    while (reversed.size() + behind < size) {
        behind += level.tail.size();
        for (auto header = level.headers.rbegin(); header != level.headers.rend(); ++header) {
            put(header->second.data(), header->second.data() + header->second.size());
            uint8_t octets[6];
            uint8_t *cursor = octets;
            asn1_TagLength_e(&cursor, header->first, static_cast<uint32_t>(reversed.size() + behind));
            put(octets, cursor);
        }
    }
    std::reverse(reversed.begin(), reversed.end());
    for (; behind != 0; behind -= level.tail.size())
        reversed.insert(reversed.end(), level.tail.begin(), level.tail.end());
    return reversed;
}

/// Reads, copies, releases, writes and releases again.
void expect_round_trip(const char *type, const Bytes &octets) {
    on_small_stack([&] {
        const Input input(octets);
        const Record copy = Record(type, input).copy();
        EXPECT_EQ(copy.written(), octets);
    });
}

TEST(Nesting, ConditionsAreReadCopiedWrittenAndReleased) {
    for (const size_t size : {size_t{32} * 1024, size_t{1} << 20})
        expect_round_trip("SecurityCondition", nested({{{0xA1, {}}}, {}}, from_hex("A206 040101 800102"), size));
}

// Signed data that holds signed data that holds ... and the innermost has no content.
TEST(Nesting, MessagesAreReadCopiedWrittenAndReleased) {
    const Bytes type = from_hex("06{2A864886F70D010702}");
    const Level level = {{{0x30, type}, {0xA0, {}}, {0x30, from_hex("020101 3100")}}, from_hex("3100")};
    Bytes octets = nested(level, from_hex("30{06{2A864886F70D010702}}"), size_t{1} << 20);
    expect_round_trip("ContentInfo", octets);
    octets[octets.size() - 2] = 0x30;  // the last signer infos are no set
    on_small_stack([&] { EXPECT_EQ(Record("ContentInfo", Input(octets)).position, -1); });
}

TEST(Nesting, HeadersWithNothingInsideFailCleanly) {
    on_small_stack([] {
        for (const char *pattern : {"A180", "A280", "2480", "2380", "3080", "A080", "24820000", "A1847FFFFFFF"}) {
            Bytes octets;
            while (octets.size() < size_t{32} * 1024)
                octets = octets.size() < 16 ? octets + from_hex(pattern) : octets + octets;
            const Input input(octets);
            for (const RecordType &type : record_types()) {
                const Record record(type.name, input);
                EXPECT_LE(record.position, static_cast<std::ptrdiff_t>(octets.size()));
            }
            EXPECT_EQ(Record("OctetString", input).value == nullptr, std::string(pattern) != "24820000");
            EXPECT_EQ(Record("BitString", input).value, nullptr);
        }
    });
}

TEST(Nesting, TenMegabytesOfSegments) {
    on_small_stack([] {
        const size_t size = 10'000'000;
        const Bytes definite = nested({{{0x24, {}}}, {}}, from_hex("0403414243"), size);
        EXPECT_EQ(to_hex(Record("OctetString", Input(definite)).written()), "0403414243");
        const Bytes bits = nested({{{0x23, {}}}, {}}, from_hex("030205A0"), size);
        EXPECT_EQ(Record("BitString", Input(bits)).as<asn1_BitString>()->bits, 8u);

        // Indefinite all the way down, each level with a segment before and behind the next.
        Bytes octets(size);
        for (size_t i = 0; i < size / 10; ++i) {
            std::memcpy(&octets[5 * i], "\x24\x80\x04\x01\x41", 5);
            std::memcpy(&octets[size / 2 + 5 * i], "\x04\x01\x42\x00\x00", 5);
        }
        const Record indefinite("OctetString", Input(octets));
        ASSERT_EQ(indefinite.position, static_cast<std::ptrdiff_t>(octets.size()));
        const auto *string = indefinite.as<asn1_OctetString>();
        EXPECT_EQ(string->len, 2 * (size / 10));
        EXPECT_EQ(string->data[size / 10 - 1], 'A');
        EXPECT_EQ(string->data[size / 10], 'B');
    });
}

// A chain of negations, which only memory can hold.
TEST(Nesting, NegationsAreWrittenCopiedAndReleased) {
    on_small_stack([] {
        SecurityCondition *root = asn1_SecurityCondition_new();
        root->tag = 4;
        root->value = asn1_Identifier_set(7);
        for (int i = 0; i < 100'000; ++i) {
            SecurityCondition *outer = asn1_SecurityCondition_new();
            outer->value = root;
            root = outer;
        }
        const Record whole("SecurityCondition", root);
        EXPECT_EQ(to_hex(whole.copy().written()), "800107");
    });
}

}  // namespace
