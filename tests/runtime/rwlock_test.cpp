#include "runtime/rwlock.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

class RwlockTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(rwl_init(&lock), 0);
    }
    void TearDown() override {
        EXPECT_EQ(rwl_destroy(&lock), 0) << "some thread is still counted";
    }
    /// Waits until that many threads sleep on the lock.
    void await(int32_t ReadWriteLock::*waiting, int32_t count) {
        for (;;) {
            pthread_mutex_lock(&lock.mutex);
            const bool there = lock.*waiting == count;
            pthread_mutex_unlock(&lock.mutex);
            if (there)
                return;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    ReadWriteLock lock{};
};

using Operation = int (*)(ReadWriteLock *lock);

TEST_F(RwlockTest, WhoMayEnterBesideWhom) {
    EXPECT_EQ(rwl_readlock(&lock), 0);
    EXPECT_EQ(rwl_readtrylock(&lock), 0);
    EXPECT_EQ(rwl_writetrylock(&lock), EBUSY);
    EXPECT_EQ(rwl_readunlock(&lock), 0);
    EXPECT_EQ(rwl_writetrylock(&lock), EBUSY) << "one reader is left";
    EXPECT_EQ(rwl_destroy(&lock), EBUSY);
    EXPECT_EQ(rwl_readunlock(&lock), 0);
    EXPECT_EQ(rwl_writetrylock(&lock), 0);
    EXPECT_EQ(rwl_readtrylock(&lock), EBUSY);
    EXPECT_EQ(rwl_writetrylock(&lock), EBUSY);
    EXPECT_EQ(rwl_destroy(&lock), EBUSY);
    EXPECT_EQ(rwl_writeunlock(&lock), 0);
}

TEST(Rwlock, RefusesALockThatIsNotInitialised) {
    ReadWriteLock lock{};
    ASSERT_EQ(rwl_init(&lock), 0);
    EXPECT_EQ(lock.valid, 0xFACADE);
    ASSERT_EQ(rwl_destroy(&lock), 0);
    EXPECT_EQ(lock.valid, 0);
    for (Operation operation :
         {rwl_readlock, rwl_readtrylock, rwl_readunlock, rwl_writelock, rwl_writetrylock, rwl_writeunlock, rwl_destroy})
        EXPECT_EQ(operation(&lock), EINVAL);
}

TEST_F(RwlockTest, AReaderPassesAWaitingWriter) {
    ASSERT_EQ(rwl_readlock(&lock), 0);
    std::thread writer([this] {
        EXPECT_EQ(rwl_writelock(&lock), 0);
        EXPECT_EQ(rwl_writeunlock(&lock), 0);
    });
    await(&ReadWriteLock::waitingWriters, 1);
    EXPECT_EQ(rwl_readtrylock(&lock), 0);
    EXPECT_EQ(rwl_readunlock(&lock), 0);
    EXPECT_EQ(rwl_readunlock(&lock), 0);
    writer.join();
}

TEST_F(RwlockTest, AWriterLetsAllWaitingReadersInBeforeAWaitingWriter) {
    std::atomic<int> readers_in{0};
    std::atomic<bool> writer_in{false};
    ASSERT_EQ(rwl_writelock(&lock), 0);
    std::thread writer([&] {
        EXPECT_EQ(rwl_writelock(&lock), 0);
        writer_in = true;
        EXPECT_EQ(rwl_writeunlock(&lock), 0);
    });
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&] {
            EXPECT_EQ(rwl_readlock(&lock), 0);
            ++readers_in;
            while (readers_in < 2)  // both are inside at the same time
                std::this_thread::yield();
            EXPECT_FALSE(writer_in);
            EXPECT_EQ(rwl_readunlock(&lock), 0);
        });
    }
    await(&ReadWriteLock::waitingReaders, 2);
    await(&ReadWriteLock::waitingWriters, 1);
    EXPECT_EQ(rwl_writeunlock(&lock), 0);
    for (std::thread &reader : readers)
        reader.join();
    writer.join();
    EXPECT_TRUE(writer_in);
}

TEST_F(RwlockTest, KeepsWritersApart) {
    int counter = 0;  // guarded by the lock alone
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 200; ++n) {
                rwl_writelock(&lock);
                ++counter;
                rwl_writeunlock(&lock);
                rwl_readlock(&lock);
                EXPECT_GT(counter, 0);
                rwl_readunlock(&lock);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(counter, 600);
}

TEST_F(RwlockTest, AThreadCancelledInItsWaitLeavesNoTrace) {
    struct Case {
        Operation hold, release;
        int32_t ReadWriteLock::*waiting;
        void *(*wait)(void *lock);
    };
    const Case cases[] = {
        {rwl_writelock, rwl_writeunlock, &ReadWriteLock::waitingReaders,
         [](void *l) -> void * {
             rwl_readlock(static_cast<ReadWriteLock *>(l));
             return nullptr;
         }},
        {rwl_readlock, rwl_readunlock, &ReadWriteLock::waitingWriters,
         [](void *l) -> void * {
             rwl_writelock(static_cast<ReadWriteLock *>(l));
             return nullptr;
         }},
    };
    for (const Case &c : cases) {
        ASSERT_EQ(c.hold(&lock), 0);
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, nullptr, c.wait, &lock), 0);
        await(c.waiting, 1);
        ASSERT_EQ(pthread_cancel(thread), 0);
        void *result = nullptr;
        ASSERT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        EXPECT_EQ(lock.*c.waiting, 0);
        ASSERT_EQ(c.release(&lock), 0);
        ASSERT_EQ(rwl_writetrylock(&lock), 0) << "the mutex is free and nobody is counted";
        ASSERT_EQ(rwl_writeunlock(&lock), 0);
    }
}

}  // namespace
