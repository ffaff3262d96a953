#include "runtime/rwlock.h"

#include <cerrno>

namespace {

using LockTest = bool (*)(const ReadWriteLock *lock);
using WaitCleanup = void (*)(void *lock);

/// What sets a reader and a writer apart when they enter.
struct Side {
    LockTest busy;
    pthread_cond_t ReadWriteLock::*condition;
    int32_t ReadWriteLock::*waiting;
    int32_t ReadWriteLock::*active;
    WaitCleanup cleanup;
};

bool readers_must_wait(const ReadWriteLock *lock) {
    return lock->activeWriter != 0;
}

bool writers_must_wait(const ReadWriteLock *lock) {
    return lock->activeWriter != 0 || lock->activeReaders > 0;
}

constexpr Side reader = {readers_must_wait, &ReadWriteLock::readCondition, &ReadWriteLock::waitingReaders,
                         &ReadWriteLock::activeReaders, rwl_readcleanup};
constexpr Side writer = {writers_must_wait, &ReadWriteLock::writeCondition, &ReadWriteLock::waitingWriters,
                         &ReadWriteLock::activeWriter, rwl_writecleanup};

/// Takes the mutex of a usable lock.
int enter(ReadWriteLock *lock) {
    return lock->valid == rwl_valid ? pthread_mutex_lock(&lock->mutex) : EINVAL;
}

/// Gives the mutex back; the first error counts.
int leave(ReadWriteLock *lock, int status) {
    const int unlocked = pthread_mutex_unlock(&lock->mutex);
    return status != 0 ? status : unlocked;
}

/// Sleeps until the side may enter. Holds the mutex on entry and on return.
int wait_for_turn(ReadWriteLock *lock, const Side &side) {
    volatile int status = 0;
    ++(lock->*side.waiting);
    pthread_cleanup_push(side.cleanup, lock);
    while (status == 0 && side.busy(lock))
        status = pthread_cond_wait(&(lock->*side.condition), &lock->mutex);
    pthread_cleanup_pop(0);
    --(lock->*side.waiting);
    return status;
}

int lock_side(ReadWriteLock *lock, const Side &side) {
    if (const int status = enter(lock); status != 0)
        return status;
    const int status = side.busy(lock) ? wait_for_turn(lock, side) : 0;
    if (status == 0)
        ++(lock->*side.active);
    return leave(lock, status);
}

int try_lock_side(ReadWriteLock *lock, const Side &side) {
    if (const int status = enter(lock); status != 0)
        return status;
    const bool busy = side.busy(lock);
    if (!busy)
        ++(lock->*side.active);
    return leave(lock, busy ? EBUSY : 0);
}

void end_wait(ReadWriteLock *lock, const Side &side) {
    --(lock->*side.waiting);
    pthread_mutex_unlock(&lock->mutex);
}

bool in_use(const ReadWriteLock *lock) {
    return lock->activeReaders != 0 || lock->activeWriter != 0 || lock->waitingReaders != 0 ||
           lock->waitingWriters != 0;
}

}  // namespace

extern "C" {

int rwl_init(ReadWriteLock *lock) {
    lock->activeReaders = lock->activeWriter = lock->waitingReaders = lock->waitingWriters = 0;
    int status = pthread_mutex_init(&lock->mutex, nullptr);
    if (status != 0)
        return status;
    status = pthread_cond_init(&lock->readCondition, nullptr);
    if (status != 0) {
        pthread_mutex_destroy(&lock->mutex);
        return status;
    }
    status = pthread_cond_init(&lock->writeCondition, nullptr);
    if (status != 0) {
        pthread_cond_destroy(&lock->readCondition);
        pthread_mutex_destroy(&lock->mutex);
        return status;
    }
    lock->valid = rwl_valid;
    return 0;
}

int rwl_destroy(ReadWriteLock *lock) {
    if (const int status = enter(lock); status != 0)
        return status;
    if (in_use(lock))
        return leave(lock, EBUSY);
    lock->valid = 0;
    if (const int status = leave(lock, 0); status != 0)
        return status;
    const int mutex = pthread_mutex_destroy(&lock->mutex);
    const int read = pthread_cond_destroy(&lock->readCondition);
    const int write = pthread_cond_destroy(&lock->writeCondition);
    if (mutex != 0)
        return mutex;
    return read != 0 ? read : write;
}

int rwl_readlock(ReadWriteLock *lock) {
    return lock_side(lock, reader);
}

int rwl_readtrylock(ReadWriteLock *lock) {
    return try_lock_side(lock, reader);
}

int rwl_writelock(ReadWriteLock *lock) {
    return lock_side(lock, writer);
}

int rwl_writetrylock(ReadWriteLock *lock) {
    return try_lock_side(lock, writer);
}

int rwl_readunlock(ReadWriteLock *lock) {
    if (const int status = enter(lock); status != 0)
        return status;
    int status = 0;
    if (--lock->activeReaders == 0 && lock->waitingWriters > 0)
        status = pthread_cond_signal(&lock->writeCondition);
    return leave(lock, status);
}

int rwl_writeunlock(ReadWriteLock *lock) {
    if (const int status = enter(lock); status != 0)
        return status;
    int status = 0;
    lock->activeWriter = 0;
    if (lock->waitingReaders > 0)
        status = pthread_cond_broadcast(&lock->readCondition);
    else if (lock->waitingWriters > 0)
        status = pthread_cond_signal(&lock->writeCondition);
    return leave(lock, status);
}

void rwl_readcleanup(void *lock) {
    end_wait(static_cast<ReadWriteLock *>(lock), reader);
}

void rwl_writecleanup(void *lock) {
    end_wait(static_cast<ReadWriteLock *>(lock), writer);
}
}
