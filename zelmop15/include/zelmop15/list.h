/**
 * @file list.h
 * @brief List, the ordered array of element pointers, with the read-write lock that each list carries.
 *
 * Conventions of this header:
 *  1. A list owns its array and its lock. It owns its elements only in so far as the caller hands the matching
 *     `element_free` to the operation that drops them.
 *  2. Indexes and counts are signed 32-bit numbers. The first element has index 0.
 *  3. Every list argument must be a live list, except that of List_free(), which takes null. A null list is a
 *     programming error and ends the process by assertion.
 *  4. No operation takes the lock by itself. Threads that share a list bracket their calls with List_readlock() or
 *     List_writelock() and the matching unlock.
 *  5. List_len(), List_get(), List_remove(), List_empty(), List_revert(), List_contains() and List_first_common()
 *     cannot fail. The others report a failed allocation by null and leave the list as it was.
 *  6. A pointer got from List_get() stays valid until the element is removed or freed; the position of an element
 *     changes when one before it is removed.
 */
#ifndef ZELMOP15_LIST_H
#define ZELMOP15_LIST_H

#include <pthread.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/** Read-write lock with preference for readers, built on a POSIX mutex and two conditions. */
typedef struct ReadWriteLock {
    pthread_mutex_t mutex;         /**< Guards the four counters. */
    pthread_cond_t readCondition;  /**< Waiting readers sleep here. */
    pthread_cond_t writeCondition; /**< Waiting writers sleep here. */
    int32_t valid;                 /**< 0xFACADE while the lock can be used. */
    int32_t activeReaders;         /**< Readers inside. */
    int32_t activeWriter;          /**< 1 while a writer is inside. */
    int32_t waitingReaders;        /**< Readers asleep. */
    int32_t waitingWriters;        /**< Writers asleep. */
} ReadWriteLock;

/** Ordered, growable array of untyped element pointers. */
typedef struct List {
    int32_t count;      /**< Elements held. */
    void **elements;    /**< Element pointers; may be null while capacity is 0. */
    int32_t capacity;   /**< Places allocated. */
    ReadWriteLock lock; /**< For callers that share the list between threads. */
} List;

/** Deep copy of an element; null for failure. */
typedef void *(*List_element_clone)(const void *element);
/** Releases an element. */
typedef void (*List_element_free)(void *element);
/** Compares an element with a value; 0 when they are equal. */
typedef int (*List_compare)(const void *element, const void *value);

/** New empty list with places for `capacity` elements (none for 0 or less), or null. Release: List_free(). */
List *List_new(int32_t capacity);
/** Calls `element_free` (if given) on each element, then releases the list. A null list is a no-op. */
void List_free(List *list, List_element_free element_free);
/** Number of elements. */
int32_t List_len(const List *list);
/** Element at `index`, borrowed; null when `index` is the count or above. A negative index is not looked for. */
void *List_get(const List *list, int32_t index);
/** Appends `element`, or its clone when `element_clone` is given. Returns list, or null with the list unchanged. */
List *List_append(List *list, void *element, List_element_clone element_clone);
/** Removes the element at `index` after `element_free` (if given) on it. Past the end nothing happens. Returns list. */
List *List_remove(List *list, int32_t index, List_element_free element_free);
/**
 * Puts `element`, or its clone, in the place of the element at `index`, after `element_free` (if given) on the old one.
 * Null, with the old element in place, when `index` is past the end or the clone failed; otherwise list.
 */
List *List_replace(List *list, void *element, int32_t index, List_element_clone element_clone,
                   List_element_free element_free);
/** Releases each element with `element_free` (if given) and sets the count to 0; the capacity stays. Returns list. */
List *List_empty(List *list, List_element_free element_free);
/** Reverses the order in place. Returns list. */
List *List_revert(List *list);
/** Index of the first element that equals `value` by `compare` (as pointers when null), or -1. */
int32_t List_contains(const List *list, const void *value, List_compare compare);
/** Index in `list1` of its first element that `list2` contains, or -1. */
int32_t List_first_common(const List *list1, const List *list2, List_compare compare);
/**
 * New list of the elements of `list1` that `list2` contains, in the order of `list1`, cloned when `element_clone` is
 * given. `element_clone` and `element_free` are both null or both given (assertion). Null on failure.
 */
List *List_intersect(const List *list1, const List *list2, List_compare compare, List_element_clone element_clone,
                     List_element_free element_free);
/**
 * New list with the same elements in the same order, cloned when `element_clone` is given. `element_clone` and
 * `element_free` are both null or both given (assertion). Null on failure, with the clones made so far released.
 */
List *List_clone(const List *list, List_element_clone element_clone, List_element_free element_free);
/** Enters the list's lock as a reader; 0 or a POSIX error number. */
int List_readlock(List *list);
/** Leaves the list's lock as a reader; 0 or a POSIX error number. */
int List_readunlock(List *list);
/** Enters the list's lock as the writer; 0 or a POSIX error number. */
int List_writelock(List *list);
/** Leaves the list's lock as the writer; 0 or a POSIX error number. */
int List_writeunlock(List *list);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
