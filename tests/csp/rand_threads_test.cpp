// One random generator for many threads.
#include <array>
#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <vector>

#include "rand_case.h"
#include "runtime/log.h"

// The leak sanitizer's, where it is there.
extern "C" void __lsan_disable() __attribute__((weak));

namespace {

using namespace zelmo_test;

TEST(GeneratorThreads, ShareAContext) {
    constexpr size_t threads = 8;
    constexpr size_t requests = 60;
    Generator generator(Octets(64, 3));
    std::array<std::set<Octets>, threads> drawn;
    std::vector<std::thread> running;
    for (size_t t = 0; t < threads; ++t)
        running.emplace_back([&generator, &mine = drawn[t], t] {
            for (size_t i = 0; i < requests; ++i) {
                mine.insert(generator.bytes(16));
                Bytestring *state = nullptr;
                if (t == 0) {
                    EXPECT_EQ(CSP_RNG_get_state(&generator, &state), 0u);
                }
                Bytestring_free(state);
                if (t == 1 && i % 10 == 0) {
                    EXPECT_EQ(generator.seed(Octets(64 + i, static_cast<uint8_t>(i))), 0u);
                }
            }
        });
    for (std::thread &thread : running)
        thread.join();
    std::set<Octets> all;
    for (std::set<Octets> &one : drawn)
        all.merge(one);
    EXPECT_EQ(all.size(), threads * requests) << "no two alike";
}

uint32_t end_thread(uint32_t, uint32_t, va_list) {
    pthread_exit(nullptr);
}

TEST(GeneratorThreads, AThreadThatEndsInATraceGivesTheMutexBack) {
    Generator generator(Octets(20, 1));
    // Set up by hand: the start of a trace is traced too, and would end this thread.
    log_flag = 32;
    log_callback = end_thread;
    pthread_t thread;
    const auto run = [](void *context) -> void * {
        // What was being made is lost.
        if (__lsan_disable != nullptr)
            __lsan_disable();
        static_cast<Generator *>(context)->bytes(4);
        return context;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, run, &generator), 0);
    void *result = &thread;
    EXPECT_EQ(pthread_join(thread, &result), 0);
    mirel_log_terminate();
    EXPECT_EQ(result, nullptr) << "it ended before it was done";
    EXPECT_TRUE(generator.is_free());
}

}  // namespace
