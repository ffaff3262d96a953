#include "zelmop15/list.h"

#include <cstdint>
#include <cstdlib>

#include "runtime/assertion.h"
#include "runtime/owned.h"
#include "runtime/rwlock.h"

#define ASSERT_CLONE_HAS_FREE(element_clone, element_free)                           \
    ZELMO_ASSERT(((element_clone) == nullptr) == ((element_free) == nullptr),        \
                 "(element_clone == ((void *)0) && element_free == ((void *)0)) || " \
                 "(element_clone != ((void *)0) && element_free != ((void *)0))")

namespace {

void free_elements(const List *list, List_element_free element_free) {
    if (element_free == nullptr)
        return;
    for (int32_t i = 0; i < list->count; ++i)
        element_free(list->elements[i]);
}

/// Makes room for exactly one element more.
bool grow(List *list) {
    if (list->count < list->capacity)
        return true;
    if (list->capacity == INT32_MAX)
        return false;
    const size_t capacity = static_cast<size_t>(list->capacity) + 1;
    auto **elements = static_cast<void **>(std::realloc(list->elements, capacity * sizeof(void *)));
    if (elements == nullptr)
        return false;
    list->elements = elements;
    list->capacity = static_cast<int32_t>(capacity);
    return true;
}

/// The element to store: the given one, or its clone. False when the clone failed.
bool element_to_store(void *element, List_element_clone element_clone, void **stored) {
    *stored = element_clone != nullptr ? element_clone(element) : element;
    return *stored != nullptr || element_clone == nullptr;
}

}  // namespace

extern "C" {

List *List_new(int32_t capacity) {
    OwnedBlock<List> list(allocate<List>());
    if (!list)
        return nullptr;
    OwnedBlock<void *> elements;
    if (capacity > 0) {
        elements.reset(allocate<void *>(static_cast<size_t>(capacity)));
        if (!elements)
            return nullptr;
        list->capacity = capacity;
    }
    if (rwl_init(&list->lock) != 0)
        return nullptr;
    list->elements = elements.release();
    return list.release();
}

void List_free(List *list, List_element_free element_free) {
    if (list == nullptr)
        return;
    free_elements(list, element_free);
    std::free(list->elements);
    rwl_destroy(&list->lock);
    std::free(list);
}

int32_t List_len(const List *list) {
    ZELMO_ASSERT_GIVEN(list);
    return list->count;
}

void *List_get(const List *list, int32_t index) {
    ZELMO_ASSERT_GIVEN(list);
    return index < list->count ? list->elements[index] : nullptr;
}

List *List_append(List *list, void *element, List_element_clone element_clone) {
    ZELMO_ASSERT_GIVEN(list);
    // Room first: a clone made before a failed growth would have no owner, and there is no release to call on it.
    void *stored = nullptr;
    if (!grow(list) || !element_to_store(element, element_clone, &stored))
        return nullptr;
    list->elements[list->count++] = stored;
    return list;
}

List *List_remove(List *list, int32_t index, List_element_free element_free) {
    ZELMO_ASSERT_GIVEN(list);
    if (index >= list->count)
        return list;
    if (element_free != nullptr)
        element_free(list->elements[index]);
    --list->count;
    for (int32_t i = index; i < list->count; ++i)
        list->elements[i] = list->elements[i + 1];
    list->elements[list->count] = nullptr;
    return list;
}

List *List_replace(List *list, void *element, int32_t index, List_element_clone element_clone,
                   List_element_free element_free) {
    ZELMO_ASSERT_GIVEN(list);
    void *stored = nullptr;
    if (index >= list->count || !element_to_store(element, element_clone, &stored))
        return nullptr;
    if (element_free != nullptr)
        element_free(list->elements[index]);
    list->elements[index] = stored;
    return list;
}

List *List_empty(List *list, List_element_free element_free) {
    ZELMO_ASSERT_GIVEN(list);
    free_elements(list, element_free);
    list->count = 0;
    return list;
}

List *List_revert(List *list) {
    ZELMO_ASSERT_GIVEN(list);
    for (int32_t i = 0, j = list->count - 1; i < j; ++i, --j) {
        void *element = list->elements[i];
        list->elements[i] = list->elements[j];
        list->elements[j] = element;
    }
    return list;
}

int32_t List_contains(const List *list, const void *value, List_compare compare) {
    ZELMO_ASSERT_GIVEN(list);
    for (int32_t i = 0; i < list->count; ++i) {
        const void *element = list->elements[i];
        if (compare != nullptr ? compare(element, value) == 0 : element == value)
            return i;
    }
    return -1;
}

int32_t List_first_common(const List *list1, const List *list2, List_compare compare) {
    ZELMO_ASSERT_GIVEN(list1);
    ZELMO_ASSERT_GIVEN(list2);
    for (int32_t i = 0; i < list1->count; ++i) {
        if (List_contains(list2, list1->elements[i], compare) >= 0)
            return i;
    }
    return -1;
}

List *List_intersect(const List *list1, const List *list2, List_compare compare, List_element_clone element_clone,
                     List_element_free element_free) {
    ZELMO_ASSERT_GIVEN(list1);
    ZELMO_ASSERT_GIVEN(list2);
    ASSERT_CLONE_HAS_FREE(element_clone, element_free);
    List *common = List_new(0);
    if (common == nullptr)
        return nullptr;
    for (int32_t i = 0; i < list1->count; ++i) {
        void *element = list1->elements[i];
        if (List_contains(list2, element, compare) >= 0 && List_append(common, element, element_clone) == nullptr) {
            List_free(common, element_free);
            return nullptr;
        }
    }
    return common;
}

List *List_clone(const List *list, List_element_clone element_clone, List_element_free element_free) {
    ZELMO_ASSERT_GIVEN(list);
    ASSERT_CLONE_HAS_FREE(element_clone, element_free);
    List *copy = List_new(list->count);
    if (copy == nullptr)
        return nullptr;
    for (int32_t i = 0; i < list->count; ++i) {
        if (List_append(copy, list->elements[i], element_clone) == nullptr) {
            List_free(copy, element_free);
            return nullptr;
        }
    }
    return copy;
}

int List_readlock(List *list) {
    ZELMO_ASSERT_GIVEN(list);
    return rwl_readlock(&list->lock);
}

int List_readunlock(List *list) {
    ZELMO_ASSERT_GIVEN(list);
    return rwl_readunlock(&list->lock);
}

int List_writelock(List *list) {
    ZELMO_ASSERT_GIVEN(list);
    return rwl_writelock(&list->lock);
}

int List_writeunlock(List *list) {
    ZELMO_ASSERT_GIVEN(list);
    return rwl_writeunlock(&list->lock);
}
}
