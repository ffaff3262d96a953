// Where PINs remain: all of the process's memory, its log included, is searched for them after each step.
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/random.h>
#include <unistd.h>

#include "asn1/asn1_x680.h"
#include "token/auth_token.h"

namespace {

// A PIN that occurs nowhere by chance, kept in a disguise so that it is not found here. Only its end is looked for: the
// allocator writes over the beginning of a released block.
class Marker {
  public:
    Marker() {
        EXPECT_EQ(getrandom(disguised_, size, 0), static_cast<ssize_t>(size));
        for (uint8_t &octet : disguised_)
            octet = static_cast<uint8_t>((octet & 0x3F) + '!') ^ mask;
    }
    void reveal(uint8_t *place) const {
        for (size_t i = 0; i < size; ++i)
            place[i] = disguised_[i] ^ mask;
    }
    // The first place from `begin` to before `end` where the end may stand.
    const uint8_t *first(const uint8_t *begin, const uint8_t *end) const {
        const int octet = disguised_[size - sought] ^ mask;
        return static_cast<const uint8_t *>(begin < end ? std::memchr(begin, octet, static_cast<size_t>(end - begin))
                                                        : nullptr);
    }
    bool ends_at(const uint8_t *place) const {
        for (size_t i = 0; i < sought; ++i)
            if ((place[i] ^ mask) != disguised_[size - sought + i])
                return false;
        return true;
    }
    static constexpr size_t size = 48;
    static constexpr size_t sought = 24;

  private:
    static constexpr uint8_t mask = 0xA5;
    uint8_t disguised_[size];
};

// Places of the marker in all that this process can write to.
size_t occurrences(const Marker &marker) {
    constexpr size_t chunk = 1 << 20;
    constexpr uintptr_t greatest_region = uintptr_t{1} << 28;  // sanitizers reserve terabytes, which hold no data
    static uint8_t buffer[chunk + Marker::sought];
    const auto own_begin = reinterpret_cast<uintptr_t>(buffer);
    const int memory = open("/proc/self/mem", O_RDONLY);
    std::ifstream maps("/proc/self/maps");
    size_t found = 0;
    for (std::string line; std::getline(maps, line);) {
        uintptr_t begin = 0, end = 0;
        char access[8] = {};
        if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, access) != 3 || access[0] != 'r' ||
            access[1] != 'w' || end - begin > greatest_region)
            continue;
        for (uintptr_t at = begin; at < end; at += chunk) {
            const size_t wanted = std::min(end - at, sizeof buffer);
            const ssize_t count = pread(memory, buffer, wanted, static_cast<off_t>(at));
            const uint8_t *last = buffer + std::max<ssize_t>(count, Marker::sought) - Marker::sought + 1;
            for (const uint8_t *i = marker.first(buffer, last); i != nullptr; i = marker.first(i + 1, last)) {
                const uintptr_t place = at + static_cast<uintptr_t>(i - buffer);
                const bool counted_next = i >= buffer + chunk;
                const bool is_own = place >= own_begin && place < own_begin + sizeof buffer;
                found += !counted_next && !is_own && marker.ends_at(i);
            }
            explicit_bzero(buffer, sizeof buffer);
        }
    }
    close(memory);
    return found;
}

// Calls far down the stack, where the search itself does not write over what was left.
template <class Call>
__attribute__((noinline)) uint32_t far_down(Call call) {
    uint8_t room[1 << 16];
    asm volatile("" : : "r"(room) : "memory");
    return call();
}

// A token whose card keeps no copies, and calls with the marker as value, of which the test keeps none.
struct World {
    World() {
        token.card().forgetful = true;
        for (const uint8_t authId : {plain_pin, pathless_pin})
            asn1_Integer_free(std::exchange(token.pin(authId).maxLength, nullptr));
    }
    template <class Call>
    uint32_t with(const Marker &marker, std::deque<CardAnswer> script, Call call) {
        token.script(std::move(script));
        uint8_t value[Marker::size];
        marker.reveal(value);
        const uint32_t code = far_down([&] { return call(value); });
        explicit_bzero(value, sizeof value);
        return code;
    }
    uint32_t verify(const Marker &marker, uint8_t authId, uint32_t raw = 0) {
        // The card service cannot put it into a form, so that it is copied as it stands.
        return with(marker, {{0}, {0x80100004}, {raw}}, [&](const uint8_t *value) {
            return pkcs15_ScVerify(test_card, token.get(), token.object(authId), value, Marker::size, P15_VERIFY_CACHE,
                                   nullptr, nullptr);
        });
    }
    AuthToken token;
};

TEST(Memory, WhatIsForgottenIsGone) {
    auto owner = std::make_unique<World>();
    World &world = *owner;
    const Marker marker, other;
    ASSERT_EQ(occurrences(marker), 0u);
    ASSERT_EQ(world.verify(marker, plain_pin), 0u);
    EXPECT_EQ(occurrences(marker), 1u) << "the remembered value, and nothing else";
    ASSERT_EQ(world.verify(marker, plain_pin), 0u);
    EXPECT_EQ(occurrences(marker), 1u) << "replaced";
    world.token.script({{0}, {0}});
    ASSERT_EQ(pkcs15_ScUnVerify(test_card, world.token.get(), world.token.object(plain_pin), nullptr), 0u);
    EXPECT_EQ(occurrences(marker), 0u) << "taken back";
    ASSERT_EQ(world.verify(marker, plain_pin), 0u);
    ASSERT_EQ(world.verify(marker, plain_pin, 0xA0116300), PKCS15_E_VERIFICATION_FAILED);
    EXPECT_EQ(occurrences(marker), 0u) << "rejected";
    ASSERT_EQ(world.verify(marker, plain_pin), 0u);
    ASSERT_EQ(world.verify(other, pathless_pin), 0u);
    EXPECT_EQ(occurrences(marker) + occurrences(other), 2u);
    owner.reset();
    EXPECT_EQ(occurrences(marker) + occurrences(other), 0u) << "with the context";
}

TEST(Memory, ChangedPinsReplaceTheRememberedOnes) {
    World world;
    const Marker before, after;
    ASSERT_EQ(world.verify(before, plain_pin), 0u);
    ASSERT_EQ(world.with(after, {{0, hex("EE")}, {0}, {0x80100004}, {0}, {0}},
                         [&](const uint8_t *value) {
                             uint8_t old[Marker::size];
                             before.reveal(old);
                             const uint32_t code = pkcs15_ScSetAuthenticationObject(
                                 test_card, world.token.get(), world.token.object(plain_pin), old, sizeof old, value,
                                 Marker::size, 0, nullptr, nullptr);
                             explicit_bzero(old, sizeof old);
                             return code;
                         }),
              0u);
    EXPECT_EQ(occurrences(before), 0u);
    EXPECT_EQ(occurrences(after), 1u);
    const Marker set;
    ASSERT_EQ(world.with(set, {{0, hex("EE")}, {0}},
                         [&](const uint8_t *value) {
                             return pkcs15_ScInitAuthenticationObject(test_card, world.token.get(),
                                                                      world.token.object(plain_pin), value,
                                                                      Marker::size, nullptr);
                         }),
              0u);
    EXPECT_EQ(occurrences(after), 0u);
    EXPECT_EQ(occurrences(set), 0u);
}

TEST(Memory, TypedPinsAreGone) {
    World world;
    const Marker marker;
    world.token.script({{0}, {0x80100004}, {0}});
    marker.reveal(reinterpret_cast<uint8_t *>(world.token.dialog().pin));
    ASSERT_EQ(far_down([&] {
                  return pkcs15_ScVerify(test_card, world.token.get(), world.token.object(plain_pin), nullptr, 0,
                                         P15_VERIFY_CACHE, nullptr, nullptr);
              }),
              0u);
    EXPECT_EQ(occurrences(marker), 1u) << "in the dialog's own memory";
    explicit_bzero(world.token.dialog().pin, sizeof world.token.dialog().pin);
    EXPECT_EQ(occurrences(marker), 0u);
}

}  // namespace
