#include "zelmop15/list.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include "support/alloc_fault.h"
#include "support/seeded.h"

namespace {

int live = 0;             // elements made by make_element and clone_element and not yet released
int clones_allowed = -1;  // clones that succeed before one fails; negative: all

void *make_element(int value) {
    ++live;
    return new int(value);
}

void *clone_element(const void *element) {
    if (clones_allowed == 0)
        return nullptr;
    --clones_allowed;
    return make_element(*static_cast<const int *>(element));
}

void free_element(void *element) {
    --live;
    delete static_cast<int *>(element);
}

int compare_elements(const void *element, const void *value) {
    return *static_cast<const int *>(element) - *static_cast<const int *>(value);
}

std::vector<int> values(const List *list) {
    std::vector<int> result;
    for (int32_t i = 0; i < List_len(list); ++i)
        result.push_back(*static_cast<int *>(List_get(list, i)));
    return result;
}

List *list_of(const std::vector<int> &elements) {
    List *list = List_new(0);
    for (int value : elements)
        List_append(list, make_element(value), nullptr);
    return list;
}

class ListTest : public testing::Test {
  protected:
    void SetUp() override {
        live = 0;
        clones_allowed = -1;
    }
    void TearDown() override {
        EXPECT_EQ(live, 0) << "elements leaked, or released twice";
    }
};

/// Expects both lists equal by contents and by every lookup.
void expect_same(const List *list, const std::vector<int> &oracle) {
    ASSERT_EQ(values(list), oracle);
    EXPECT_EQ(List_get(list, List_len(list)), nullptr);
    for (int value = 0; value < 8; ++value) {
        const auto found = std::find(oracle.begin(), oracle.end(), value);
        EXPECT_EQ(List_contains(list, &value, compare_elements), found == oracle.end() ? -1 : found - oracle.begin());
    }
}

TEST_F(ListTest, BehavesLikeAVectorUnderRandomOperations) {
    zelmo_test::Seeded seeded;
    List *list = List_new(static_cast<int32_t>(seeded.below(4)));
    std::vector<int> oracle;
    for (int step = 0; step < 3000; ++step) {
        const int value = static_cast<int>(seeded.below(8));
        const size_t at = seeded.below(static_cast<uint32_t>(oracle.size() + 2));
        const auto index = static_cast<int32_t>(at);
        const bool inside = at < oracle.size();
        const uint32_t what = seeded.below(16);
        if (what == 0 || what == 1) {
            ASSERT_EQ(List_append(list, const_cast<int *>(&value), clone_element), list);
            oracle.push_back(value);
        } else if (what < 6) {
            ASSERT_EQ(List_remove(list, index, free_element), list);
            if (inside)
                oracle.erase(oracle.begin() + index);
        } else if (what < 8) {
            ASSERT_EQ(List_replace(list, const_cast<int *>(&value), index, clone_element, free_element),
                      inside ? list : nullptr);
            if (inside)
                oracle[at] = value;
        } else if (what == 8) {
            ASSERT_EQ(List_revert(list), list);
            std::reverse(oracle.begin(), oracle.end());
        } else if (what == 9 && seeded.below(8) == 0) {
            ASSERT_EQ(List_empty(list, free_element), list);
            oracle.clear();
        } else {
            ASSERT_EQ(List_append(list, make_element(value), nullptr), list);
            oracle.push_back(value);
        }
        expect_same(list, oracle);
    }
    List_free(list, free_element);
}

TEST_F(ListTest, GrowsByExactlyOnePlaceAndKeepsItsPlaces) {
    List *list = List_new(2);
    EXPECT_EQ(list->capacity, 2);
    for (int i = 0; i < 4; ++i)
        List_append(list, make_element(i), nullptr);
    EXPECT_EQ(list->capacity, 4);
    List_remove(list, 1, free_element);
    EXPECT_EQ(list->elements[3], nullptr) << "the freed place is cleared";
    List_empty(list, free_element);
    EXPECT_EQ(list->capacity, 4);
    List_free(list, free_element);

    List *none = List_new(-5);
    EXPECT_EQ(none->capacity, 0);
    EXPECT_EQ(none->elements, nullptr);
    List_free(none, nullptr);
    List_free(nullptr, free_element);
}

TEST_F(ListTest, HoldsNullElements) {
    List *list = List_new(0);
    EXPECT_EQ(List_append(list, nullptr, nullptr), list);
    EXPECT_EQ(List_len(list), 1);
    EXPECT_EQ(List_contains(list, nullptr, nullptr), 0);
    EXPECT_EQ(List_replace(list, nullptr, 0, nullptr, nullptr), list);
    List_free(list, nullptr);
}

TEST_F(ListTest, ComparesSets) {
    struct Case {
        std::vector<int> first, second, common;
        int32_t first_common;
    };
    const Case cases[] = {
        {{}, {}, {}, -1},
        {{1, 2}, {}, {}, -1},
        {{}, {1, 2}, {}, -1},
        {{1, 2, 3}, {4, 3, 2}, {2, 3}, 1},
        {{5, 5, 6}, {6, 5}, {5, 5, 6}, 0},
    };
    for (const Case &c : cases) {
        List *first = list_of(c.first);
        List *second = list_of(c.second);
        EXPECT_EQ(List_first_common(first, second, compare_elements), c.first_common);
        EXPECT_EQ(List_first_common(first, second, nullptr), -1) << "as pointers nothing is equal";
        List *common = List_intersect(first, second, compare_elements, clone_element, free_element);
        EXPECT_EQ(values(common), c.common);
        List *borrowed = List_intersect(first, first, nullptr, nullptr, nullptr);
        EXPECT_EQ(values(borrowed), c.first);
        List *copy = List_clone(first, clone_element, free_element);
        EXPECT_EQ(values(copy), c.first);
        EXPECT_EQ(copy->capacity, first->count);
        List_free(borrowed, nullptr);
        for (List *list : {first, second, common, copy})
            List_free(list, free_element);
    }
}

TEST_F(ListTest, AFailedCloneChangesNothing) {
    List *list = list_of({1, 2, 3});
    int value = 9;
    clones_allowed = 0;
    EXPECT_EQ(List_append(list, &value, clone_element), nullptr);
    EXPECT_EQ(List_replace(list, &value, 1, clone_element, free_element), nullptr);
    EXPECT_EQ(values(list), (std::vector<int>{1, 2, 3}));
    for (int allowed = 0; allowed < 3; ++allowed) {
        clones_allowed = allowed;
        EXPECT_EQ(List_clone(list, clone_element, free_element), nullptr);
        clones_allowed = allowed;
        EXPECT_EQ(List_intersect(list, list, compare_elements, clone_element, free_element), nullptr);
    }
    List_free(list, free_element);
}

TEST_F(ListTest, EveryFailedAllocationLeavesTheListAsItWas) {
    List *list = list_of({1, 2, 3});
    struct Case {
        const char *name;
        List *(*run)(List *list);
    };
    const Case cases[] = {
        {"new", [](List *) { return List_new(3); }},
        {"append", [](List *l) { return List_append(l, nullptr, nullptr); }},
        {"append a clone", [](List *l) { return List_append(l, List_get(l, 0), clone_element); }},
        {"clone", [](List *l) { return List_clone(l, clone_element, free_element); }},
        {"intersect", [](List *l) { return List_intersect(l, l, compare_elements, clone_element, free_element); }},
    };
    for (const Case &c : cases) {
        unsigned allowed = 1;
        for (;; ++allowed) {
            alloc_fault_arm(allowed, false);
            List *result = c.run(list);
            const bool failed = alloc_fault_disarm();
            SCOPED_TRACE(testing::Message() << c.name << ", allocation " << allowed);
            ASSERT_EQ(result == nullptr, failed);
            if (result == list)
                List_remove(list, 3, List_get(list, 3) != nullptr ? free_element : nullptr);
            else
                List_free(result, result != nullptr && List_len(result) > 0 ? free_element : nullptr);
            list->capacity = list->count;  // makes the next append grow again
            EXPECT_EQ(values(list), (std::vector<int>{1, 2, 3}));
            if (!failed)
                break;
        }
        EXPECT_GT(allowed, 1u) << c.name << " never failed";
    }
    List_free(list, free_element);
}

TEST_F(ListTest, ProgrammingErrorsEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    List *list = List_new(0);
    const char *null_list = "Assertion `list != \\(\\(void \\*\\)0\\)' failed";
    EXPECT_DEATH(List_len(nullptr), null_list);
    EXPECT_DEATH(List_get(nullptr, 0), null_list);
    EXPECT_DEATH(List_append(nullptr, nullptr, nullptr), null_list);
    EXPECT_DEATH(List_remove(nullptr, 0, nullptr), null_list);
    EXPECT_DEATH(List_replace(nullptr, nullptr, 0, nullptr, nullptr), null_list);
    EXPECT_DEATH(List_empty(nullptr, nullptr), null_list);
    EXPECT_DEATH(List_revert(nullptr), null_list);
    EXPECT_DEATH(List_contains(nullptr, nullptr, nullptr), null_list);
    EXPECT_DEATH(List_clone(nullptr, nullptr, nullptr), null_list);
    EXPECT_DEATH(List_readlock(nullptr), null_list);
    EXPECT_DEATH(List_first_common(nullptr, list, nullptr), "Assertion `list1 != \\(\\(void \\*\\)0\\)' failed");
    EXPECT_DEATH(List_first_common(list, nullptr, nullptr), "Assertion `list2 != \\(\\(void \\*\\)0\\)' failed");
    EXPECT_DEATH(List_intersect(list, nullptr, nullptr, nullptr, nullptr), "`list2 != ");
    const char *unpaired =
        "Assertion `\\(element_clone == \\(\\(void \\*\\)0\\) && element_free == \\(\\(void \\*\\)0\\)\\) \\|\\| "
        "\\(element_clone != \\(\\(void \\*\\)0\\) && element_free != \\(\\(void \\*\\)0\\)\\)' failed";
    EXPECT_DEATH(List_clone(list, clone_element, nullptr), unpaired);
    EXPECT_DEATH(List_clone(list, nullptr, free_element), unpaired);
    EXPECT_DEATH(List_intersect(list, list, nullptr, clone_element, nullptr), unpaired);
    List_free(list, nullptr);
}

}  // namespace
