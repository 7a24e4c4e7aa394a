#ifndef __AMXC_HTABLE_H__
#define __AMXC_HTABLE_H__

#include <stdbool.h>
#include <stddef.h>

#include <amxc/amxc_common.h>
#include <amxc/amxc_array.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Hash table with string keys. Each bucket's array iterator holds the head of
 * a chain of entries; iteration visits the entries in insertion order. */

typedef struct _amxc_htable_it amxc_htable_it_t;

struct _amxc_htable_it {
    amxc_array_it_t* ait;
    char* key;
    amxc_htable_it_t* next;
};

typedef unsigned int (*amxc_htable_hash_func_t)(const char* key);
typedef void (*amxc_htable_it_delete_t)(const char* key, amxc_htable_it_t* it);

typedef struct _amxc_htable {
    amxc_array_t table;
    size_t items;
    amxc_htable_hash_func_t hfunc;
    amxc_htable_it_delete_t it_del;
} amxc_htable_t;

#define amxc_htable_it_get_data(it, type, member) amxc_container_of(it, type, member)

/* Walks all entries; the current entry may be removed or deleted. */
#define amxc_htable_for_each(it, htable)                                                                               \
    for(amxc_htable_it_t* it = amxc_htable_get_first(htable), *it##_next = amxc_htable_it_get_next(it); it;            \
        it = it##_next, it##_next = amxc_htable_it_get_next(it))

#define amxc_htable_iterate(it, htable)                                                                                \
    for(amxc_htable_it_t* it = amxc_htable_get_first(htable); it; it = amxc_htable_it_get_next(it))

int amxc_htable_new(amxc_htable_t** htable, const size_t reserve);
void amxc_htable_delete(amxc_htable_t** htable, amxc_htable_it_delete_t func);
int amxc_htable_init(amxc_htable_t* const htable, const size_t reserve);
void amxc_htable_clean(amxc_htable_t* const htable, amxc_htable_it_delete_t func);
void amxc_htable_set_hash_func(amxc_htable_t* const htable, amxc_htable_hash_func_t func);
unsigned int amxc_htable_key2index(const amxc_htable_t* const htable, const char* const key);
int amxc_htable_insert(amxc_htable_t* const htable, const char* const key, amxc_htable_it_t* const it);
amxc_htable_it_t* amxc_htable_get(const amxc_htable_t* const htable, const char* const key);
amxc_htable_it_t* amxc_htable_take(amxc_htable_t* const htable, const char* const key);
bool amxc_htable_contains(const amxc_htable_t* const htable, const char* const key);
amxc_htable_it_t* amxc_htable_get_first(const amxc_htable_t* const htable);
amxc_htable_it_t* amxc_htable_get_last(const amxc_htable_t* const htable);
/* Array of the keys (const char*, owned by the table) sorted ascending;
 * free it with amxc_array_delete(&keys, NULL). */
amxc_array_t* amxc_htable_get_sorted_keys(const amxc_htable_t* const htable);

int amxc_htable_it_init(amxc_htable_it_t* const it);
void amxc_htable_it_clean(amxc_htable_it_t* const it, amxc_htable_it_delete_t func);
amxc_htable_it_t* amxc_htable_it_get_next(const amxc_htable_it_t* const reference);
amxc_htable_it_t* amxc_htable_it_get_previous(const amxc_htable_it_t* const reference);
amxc_htable_it_t* amxc_htable_it_get_next_key(const amxc_htable_it_t* const reference);
void amxc_htable_it_take(amxc_htable_it_t* const it);

static inline size_t amxc_htable_size(const amxc_htable_t* const htable) {
    return htable != NULL ? htable->items : 0;
}

static inline size_t amxc_htable_capacity(const amxc_htable_t* const htable) {
    return htable != NULL ? htable->table.items : 0;
}

static inline bool amxc_htable_is_empty(const amxc_htable_t* const htable) {
    return htable == NULL || htable->items == 0;
}

static inline const char* amxc_htable_it_get_key(const amxc_htable_it_t* const it) {
    return it != NULL ? it->key : NULL;
}

#ifdef __cplusplus
}
#endif

#endif /* __AMXC_HTABLE_H__ */
