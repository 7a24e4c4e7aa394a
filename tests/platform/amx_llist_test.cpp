// Intrusive linked lists: ordering operations, safe removal and deleters.
#include <vector>

#include <gtest/gtest.h>

#include <amxc/amxc.h>

namespace {

struct Item {
    int value;
    amxc_llist_it_t it;
};

std::vector<int> deleted;   // values seen by the deleter, in call order

void item_delete(amxc_llist_it_t* it) {
    Item* item = amxc_llist_it_get_data(it, Item, it);
    // A deleter always gets a node that is already out of its list.
    EXPECT_FALSE(amxc_llist_it_is_in_list(it));
    deleted.push_back(item->value);
    delete item;
}

Item* make(int value) {
    Item* item = new Item{value, {}};
    amxc_llist_it_init(&item->it);
    return item;
}

std::vector<int> values(const amxc_llist_t* list) {
    std::vector<int> out;
    amxc_llist_iterate(it, list) {
        out.push_back(amxc_llist_it_get_data(it, Item, it)->value);
    }
    return out;
}

class LlistTest : public ::testing::Test {
protected:
    amxc_llist_t* list = nullptr;

    void SetUp() override {
        deleted.clear();
        ASSERT_EQ(amxc_llist_new(&list), 0);
        for(int v = 1; v <= 5; v++) {
            amxc_llist_append(list, &make(v)->it);
        }
    }
    void TearDown() override { amxc_llist_delete(&list, item_delete); }

    amxc_llist_it_t* at(unsigned int i) { return amxc_llist_get_at(list, i); }
};

TEST_F(LlistTest, CleanDeletesHeadToTail) {
    amxc_llist_clean(list, item_delete);
    EXPECT_EQ(deleted, (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_TRUE(amxc_llist_is_empty(list));
    EXPECT_EQ(amxc_llist_size(list), 0u);
    amxc_llist_delete(&list, item_delete);
    EXPECT_EQ(list, nullptr);
    amxc_llist_delete(&list, item_delete);   // already gone: no-op
}

TEST_F(LlistTest, ForEachToleratesRemovingTheCurrentNode) {
    amxc_llist_for_each(it, list) {
        if(amxc_llist_it_get_data(it, Item, it)->value % 2 == 1) {
            amxc_llist_it_clean(it, item_delete);
        }
    }
    EXPECT_EQ(deleted, (std::vector<int>{1, 3, 5}));
    EXPECT_EQ(values(list), (std::vector<int>{2, 4}));
    std::vector<int> backwards;
    amxc_llist_for_each_reverse(it, list) {
        backwards.push_back(amxc_llist_it_get_data(it, Item, it)->value);
        amxc_llist_it_take(it);
        delete amxc_llist_it_get_data(it, Item, it);
    }
    EXPECT_EQ(backwards, (std::vector<int>{4, 2}));
    EXPECT_EQ(amxc_llist_get_first(list), nullptr);
    EXPECT_EQ(amxc_llist_get_last(list), nullptr);
}

TEST_F(LlistTest, PositionalOperations) {
    EXPECT_EQ(amxc_llist_set_at(list, 0, &make(0)->it), 0);
    EXPECT_EQ(amxc_llist_set_at(list, 6, &make(6)->it), 0);    // index == size appends
    Item* stray = make(99);
    EXPECT_NE(amxc_llist_set_at(list, 9, &stray->it), 0);
    EXPECT_EQ(values(list), (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(amxc_llist_it_index_of(at(3)), 3u);
    EXPECT_EQ(amxc_llist_it_index_of(&stray->it), AMXC_LLIST_RANGE);
    EXPECT_NE(amxc_llist_it_insert_before(&stray->it, at(0)), 0);   // reference not in a list
    EXPECT_NE(amxc_llist_it_insert_after(&stray->it, at(0)), 0);
    EXPECT_EQ(amxc_llist_it_insert_after(at(6), &stray->it), 0);
    EXPECT_EQ(amxc_llist_get_last(list), &stray->it);

    amxc_llist_it_t* taken = amxc_llist_take_at(list, 1);
    EXPECT_FALSE(amxc_llist_it_is_in_list(taken));
    EXPECT_EQ(amxc_llist_it_insert_before(at(0), taken), 0);
    amxc_llist_it_clean(amxc_llist_take_first(list), item_delete);
    amxc_llist_it_clean(amxc_llist_take_last(list), item_delete);
    EXPECT_EQ(values(list), (std::vector<int>{0, 2, 3, 4, 5, 6}));
    EXPECT_EQ(deleted, (std::vector<int>{1, 99}));
}

TEST_F(LlistTest, AppendMovesNodesBetweenLists) {
    amxc_llist_t other;
    amxc_llist_init(&other);
    amxc_llist_append(&other, at(1));
    amxc_llist_prepend(&other, at(2));
    EXPECT_EQ(values(list), (std::vector<int>{1, 3, 5}));
    EXPECT_EQ(values(&other), (std::vector<int>{4, 2}));
    EXPECT_EQ(amxc_llist_get_first(&other)->llist, &other);

    amxc_llist_it_swap(at(0), amxc_llist_get_first(&other));   // swap across lists
    EXPECT_EQ(values(list), (std::vector<int>{4, 3, 5}));
    EXPECT_EQ(values(&other), (std::vector<int>{1, 2}));
    amxc_llist_it_swap(at(0), at(2));
    EXPECT_EQ(values(list), (std::vector<int>{5, 3, 4}));

    EXPECT_EQ(amxc_llist_move(list, &other), 0);
    EXPECT_TRUE(amxc_llist_is_empty(&other));
    amxc_llist_sort(list, [](amxc_llist_it_t* a, amxc_llist_it_t* b) {
        return amxc_llist_it_get_data(a, Item, it)->value - amxc_llist_it_get_data(b, Item, it)->value;
    });
    EXPECT_EQ(values(list), (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(amxc_llist_get_last(list)->llist, list);
}

TEST(VariantLists, ListDeleterFreesVariants) {
    amxc_llist_t* list = nullptr;
    amxc_llist_new(&list);
    for(int i = 0; i < 3; i++) {
        amxc_var_t* var = nullptr;
        amxc_var_new(&var);
        amxc_var_set(cstring_t, var, "text");
        amxc_llist_append(list, &var->lit);
    }
    amxc_var_t holder;
    amxc_var_init(&holder);
    amxc_var_set_type(&holder, AMXC_VAR_ID_HTABLE);
    amxc_var_t* child = amxc_var_add_key(amxc_llist_t, &holder, "copy", list);
    EXPECT_EQ(amxc_llist_size(amxc_var_constcast(amxc_llist_t, child)), 3u);
    amxc_llist_t* extracted = amxc_var_dyncast(amxc_llist_t, child);
    ASSERT_NE(extracted, nullptr);
    EXPECT_EQ(amxc_llist_size(extracted), 3u);
    amxc_llist_delete(&extracted, variant_list_it_free);
    amxc_llist_delete(&list, variant_list_it_free);
    amxc_htable_t* table = amxc_var_dyncast(amxc_htable_t, &holder);
    ASSERT_NE(table, nullptr);
    EXPECT_TRUE(amxc_htable_contains(table, "copy"));
    amxc_htable_delete(&table, variant_htable_it_free);
    amxc_var_clean(&holder);
}

} // namespace
