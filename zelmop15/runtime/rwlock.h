// Read-write lock with preference for readers: a reader enters whenever no writer is inside, past waiting writers.
//
// All calls return 0 or a POSIX error number. On a lock that is not initialised all but rwl_init return EINVAL. A
// thread that is cancelled while it waits leaves the lock as if it had never come.
#ifndef ZELMOP15_RUNTIME_RWLOCK_H
#define ZELMOP15_RUNTIME_RWLOCK_H

#include "zelmop15/list.h"

/// Value of ReadWriteLock::valid while the lock can be used.
inline constexpr int32_t rwl_valid = 0xFACADE;

extern "C" {

/// Makes a lock usable. After a failure nothing is left to destroy.
int rwl_init(ReadWriteLock *lock);
/// Ends a lock's use; EBUSY, with the lock still usable, while any thread is inside or waits.
int rwl_destroy(ReadWriteLock *lock);
/// Enters as a reader, waiting while a writer is inside.
int rwl_readlock(ReadWriteLock *lock);
/// Enters as a reader, or EBUSY where rwl_readlock would wait.
int rwl_readtrylock(ReadWriteLock *lock);
/// Leaves as a reader; the last one lets one waiting writer in.
int rwl_readunlock(ReadWriteLock *lock);
/// Enters as the writer, waiting while anyone is inside.
int rwl_writelock(ReadWriteLock *lock);
/// Enters as the writer, or EBUSY where rwl_writelock would wait.
int rwl_writetrylock(ReadWriteLock *lock);
/// Leaves as the writer; lets all waiting readers in, or else one waiting writer.
int rwl_writeunlock(ReadWriteLock *lock);
/// Cancellation handlers of the two waits; the argument is the lock, whose mutex is held.
void rwl_readcleanup(void *lock);
void rwl_writecleanup(void *lock);
}

#endif
