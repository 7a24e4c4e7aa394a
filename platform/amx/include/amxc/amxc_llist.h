#ifndef __AMXC_LLIST_H__
#define __AMXC_LLIST_H__

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include <amxc/amxc_common.h>

#ifdef __cplusplus
extern "C" {
#endif

#define AMXC_LLIST_RANGE UINT32_MAX

typedef struct _amxc_llist_it {
    struct _amxc_llist_it* next;
    struct _amxc_llist_it* prev;
    struct _amxc_llist* llist;
} amxc_llist_it_t;

typedef struct _amxc_llist {
    amxc_llist_it_t* head;
    amxc_llist_it_t* tail;
} amxc_llist_t;

typedef void (*amxc_llist_it_delete_t)(amxc_llist_it_t* it);
typedef int (*amxc_llist_it_cmp_t)(amxc_llist_it_t* it1, amxc_llist_it_t* it2);

#define amxc_llist_it_get_data(it, type, member) amxc_container_of(it, type, member)

/* Walks head to tail; the current node may be removed or deleted. */
#define amxc_llist_for_each(it, list)                                                                                  \
    for(amxc_llist_it_t* it = amxc_llist_get_first(list), *it##_next = amxc_llist_it_get_next(it); it;                 \
        it = it##_next, it##_next = amxc_llist_it_get_next(it))

#define amxc_llist_for_each_reverse(it, list)                                                                          \
    for(amxc_llist_it_t* it = amxc_llist_get_last(list), *it##_prev = amxc_llist_it_get_previous(it); it;              \
        it = it##_prev, it##_prev = amxc_llist_it_get_previous(it))

/* Walks head to tail; the list must not change during the walk. */
#define amxc_llist_iterate(it, list)                                                                                   \
    for(amxc_llist_it_t* it = amxc_llist_get_first(list); it; it = amxc_llist_it_get_next(it))

#define amxc_llist_iterate_reverse(it, list)                                                                           \
    for(amxc_llist_it_t* it = amxc_llist_get_last(list); it; it = amxc_llist_it_get_previous(it))

int amxc_llist_new(amxc_llist_t** llist);
void amxc_llist_delete(amxc_llist_t** llist, amxc_llist_it_delete_t func);
int amxc_llist_init(amxc_llist_t* const llist);
void amxc_llist_clean(amxc_llist_t* const llist, amxc_llist_it_delete_t func);
int amxc_llist_move(amxc_llist_t* const dest, amxc_llist_t* const src);
int amxc_llist_append(amxc_llist_t* const llist, amxc_llist_it_t* const it);
int amxc_llist_prepend(amxc_llist_t* const llist, amxc_llist_it_t* const it);
size_t amxc_llist_size(const amxc_llist_t* const llist);
bool amxc_llist_is_empty(const amxc_llist_t* const llist);
amxc_llist_it_t* amxc_llist_get_at(const amxc_llist_t* const llist, const unsigned int index);
int amxc_llist_set_at(amxc_llist_t* const llist, const unsigned int index, amxc_llist_it_t* const it);
int amxc_llist_sort(amxc_llist_t* const llist, amxc_llist_it_cmp_t cmp);

int amxc_llist_it_init(amxc_llist_it_t* const it);
void amxc_llist_it_clean(amxc_llist_it_t* const it, amxc_llist_it_delete_t func);
void amxc_llist_it_take(amxc_llist_it_t* const it);
int amxc_llist_it_insert_before(amxc_llist_it_t* const reference, amxc_llist_it_t* const it);
int amxc_llist_it_insert_after(amxc_llist_it_t* const reference, amxc_llist_it_t* const it);
unsigned int amxc_llist_it_index_of(const amxc_llist_it_t* const it);
int amxc_llist_it_swap(amxc_llist_it_t* it1, amxc_llist_it_t* it2);

static inline amxc_llist_it_t* amxc_llist_get_first(const amxc_llist_t* const llist) {
    return llist != NULL ? llist->head : NULL;
}

static inline amxc_llist_it_t* amxc_llist_get_last(const amxc_llist_t* const llist) {
    return llist != NULL ? llist->tail : NULL;
}

static inline amxc_llist_it_t* amxc_llist_it_get_next(const amxc_llist_it_t* const reference) {
    return reference != NULL ? reference->next : NULL;
}

static inline amxc_llist_it_t* amxc_llist_it_get_previous(const amxc_llist_it_t* const reference) {
    return reference != NULL ? reference->prev : NULL;
}

static inline bool amxc_llist_it_is_in_list(const amxc_llist_it_t* const it) {
    return it != NULL && it->llist != NULL;
}

static inline amxc_llist_it_t* amxc_llist_take_first(amxc_llist_t* const llist) {
    amxc_llist_it_t* it = amxc_llist_get_first(llist);
    amxc_llist_it_take(it);
    return it;
}

static inline amxc_llist_it_t* amxc_llist_take_last(amxc_llist_t* const llist) {
    amxc_llist_it_t* it = amxc_llist_get_last(llist);
    amxc_llist_it_take(it);
    return it;
}

static inline amxc_llist_it_t* amxc_llist_take_at(const amxc_llist_t* const llist, const unsigned int index) {
    amxc_llist_it_t* it = amxc_llist_get_at(llist, index);
    amxc_llist_it_take(it);
    return it;
}

#ifdef __cplusplus
}
#endif

#endif /* __AMXC_LLIST_H__ */
