// Nesting of any depth in a thread with a small stack.
#include <chrono>
#include <gtest/gtest.h>
#include <pthread.h>

#include "asn1/bytes.h"
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

// `core` wrapped in headers with `tag` until the whole has about `size` octets; written from the back.
Bytes nested(uint8_t tag, const Bytes &core, size_t size) {
    Bytes reversed(core.rbegin(), core.rend());
    while (reversed.size() < size) {
        uint8_t header[6];
        uint8_t *cursor = header;
        const uint32_t octets = asn1_TagLength_e(&cursor, tag, static_cast<uint32_t>(reversed.size()));
        for (uint32_t i = octets; i-- > 0;)
            reversed.push_back(header[i]);
    }
    return Bytes(reversed.rbegin(), reversed.rend());
}

TEST(Nesting, ConditionsAreReadCopiedWrittenAndReleased) {
    on_small_stack([] {
        const RecordType *type = find_record_type("SecurityCondition");
        for (const size_t size : {size_t{32} * 1024, size_t{1} << 20}) {
            const Bytes octets = nested(0xA1, from_hex("A206 040101 800102"), size);
            const Input input(octets);
            void *value = nullptr;
            ASSERT_EQ(type->d(input.begin(), input.end(), 0, &value, 0), input.end());
            void *copy = type->clone(value);
            type->free(value);
            EXPECT_EQ(encode([&](uint8_t **cursor) { return type->e(cursor, copy); }), octets);
            type->free(copy);
        }
    });
}

// Signed data that holds signed data that holds ... until the whole has about `size` octets; written from the back.
Bytes nested_messages(size_t size) {
    const Bytes type = from_hex("06{2A864886F70D010702}"), head = from_hex("020101 3100"), tail = from_hex("3100");
    Bytes reversed(type.rbegin(), type.rend());  // the innermost has no content
    size_t behind = 0;
    const auto put = [&](const Bytes &octets) { reversed.insert(reversed.end(), octets.rbegin(), octets.rend()); };
    const auto wrap = [&](uint8_t tag) {
        uint8_t header[6];
        uint8_t *cursor = header;
        asn1_TagLength_e(&cursor, tag, static_cast<uint32_t>(reversed.size() + behind));
        put(Bytes(header, cursor));
    };
    wrap(0x30);
    while (reversed.size() + behind < size) {
        behind += tail.size();
        put(head);
        wrap(0x30);
        wrap(0xA0);
        put(type);
        wrap(0x30);
    }
    Bytes octets(reversed.rbegin(), reversed.rend());
    for (; behind != 0; behind -= tail.size())
        octets.insert(octets.end(), tail.begin(), tail.end());
    return octets;
}

TEST(Nesting, MessagesAreReadCopiedWrittenAndReleased) {
    on_small_stack([] {
        const RecordType *type = find_record_type("ContentInfo");
        const Bytes octets = nested_messages(size_t{1} << 20);
        const Input input(octets);
        void *value = nullptr;
        ASSERT_EQ(type->d(input.begin(), input.end(), 0, &value, 0), input.end());
        void *copy = type->clone(value);
        type->free(value);
        EXPECT_EQ(encode([&](uint8_t **cursor) { return type->e(cursor, copy); }), octets);
        type->free(copy);
        // The last signer infos are no set.
        Bytes spoiled = octets;
        spoiled[octets.size() - 2] = 0x30;
        const Input wrong(spoiled);
        value = nullptr;
        EXPECT_EQ(type->d(wrong.begin(), wrong.end(), 0, &value, 0), nullptr);
        EXPECT_EQ(value, nullptr);
    });
}

TEST(Nesting, HeadersWithNothingInsideFailCleanly) {
    on_small_stack([] {
        for (const char *pattern : {"A180", "A280", "2480", "2380", "3080", "A080", "24820000", "A1847FFFFFFF"}) {
            Bytes octets;
            const Bytes one = from_hex(pattern);
            while (octets.size() < size_t{32} * 1024)
                octets.insert(octets.end(), one.begin(), one.end());
            const Input input(octets);
            for (const RecordType &type : record_types()) {
                void *value = nullptr;
                const uint8_t *z = type.d(input.begin(), input.end(), 0, &value, 0);
                EXPECT_TRUE(z == nullptr || z <= input.end());
                type.free(value);
            }
            asn1_OctetString *string = nullptr;
            EXPECT_EQ(asn1_OctetString_d(input.begin(), input.end(), 0, &string, 0) == nullptr,
                      std::string(pattern) != "24820000");
            asn1_OctetString_free(string);
            asn1_BitString *bits = nullptr;
            EXPECT_EQ(asn1_BitString_d(input.begin(), input.end(), 0, &bits, 0), nullptr);
        }
    });
}

TEST(Nesting, TenMegabytesOfSegments) {
    on_small_stack([] {
        const size_t size = 10'000'000;
        const Input definite(nested(0x24, from_hex("0403414243"), size));
        asn1_OctetString *string = nullptr;
        ASSERT_EQ(asn1_OctetString_d(definite.begin(), definite.end(), 0, &string, 0), definite.end());
        EXPECT_EQ(to_hex(string->data, string->len), "414243");
        asn1_OctetString_free(string);

        const Input bits(nested(0x23, from_hex("030205A0"), size));
        asn1_BitString *bit_string = nullptr;
        ASSERT_EQ(asn1_BitString_d(bits.begin(), bits.end(), 0, &bit_string, 0), bits.end());
        EXPECT_EQ(bit_string->bits, 8u);
        asn1_BitString_free(bit_string);

        // Indefinite all the way down, each level with a segment before and behind the next.
        Bytes octets;
        for (size_t i = 0; i < size / 10; ++i)
            octets.insert(octets.end(), {0x24, 0x80, 0x04, 0x01, 0x41});
        for (size_t i = 0; i < size / 10; ++i)
            octets.insert(octets.end(), {0x04, 0x01, 0x42, 0x00, 0x00});
        const Input indefinite(octets);
        string = nullptr;
        ASSERT_EQ(asn1_OctetString_d(indefinite.begin(), indefinite.end(), 0, &string, 0), indefinite.end());
        EXPECT_EQ(string->len, 2 * (size / 10));
        EXPECT_EQ(string->data[size / 10], 'B');
        asn1_OctetString_free(string);
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
        SecurityCondition *copy = asn1_SecurityCondition_clone(root);
        EXPECT_EQ(to_hex(encode([&](uint8_t **cursor) { return asn1_SecurityCondition_e(cursor, copy); })), "800107");
        asn1_SecurityCondition_free(copy);
        asn1_SecurityCondition_free(root);
    });
}

}  // namespace
