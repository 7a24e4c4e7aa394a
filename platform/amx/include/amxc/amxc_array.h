#ifndef __AMXC_ARRAY_H__
#define __AMXC_ARRAY_H__

#include <stdbool.h>
#include <stddef.h>

#include <amxc/amxc_common.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct _amxc_array_it {
    struct _amxc_array* array;
    void* data;
} amxc_array_it_t;

/* `items` is the capacity; a slot is used when its data is not NULL. */
typedef struct _amxc_array {
    size_t items;
    size_t first_used;
    size_t last_used;
    struct _amxc_array_it* buffer;
} amxc_array_t;

typedef void (*amxc_array_it_delete_t)(amxc_array_it_t* it);

int amxc_array_new(amxc_array_t** array, const size_t items);
void amxc_array_delete(amxc_array_t** array, const amxc_array_it_delete_t func);
int amxc_array_init(amxc_array_t* const array, const size_t items);
void amxc_array_clean(amxc_array_t* const array, amxc_array_it_delete_t func);
int amxc_array_grow(amxc_array_t* const array, const size_t items);
size_t amxc_array_capacity(const amxc_array_t* const array);
size_t amxc_array_size(const amxc_array_t* const array);
bool amxc_array_is_empty(const amxc_array_t* const array);
amxc_array_it_t* amxc_array_append_data(amxc_array_t* const array, void* data);
amxc_array_it_t* amxc_array_get_at(const amxc_array_t* const array, const unsigned int index);
void* amxc_array_get_data_at(const amxc_array_t* const array, const unsigned int index);
amxc_array_it_t* amxc_array_get_first(const amxc_array_t* const array);
amxc_array_it_t* amxc_array_it_get_next(const amxc_array_it_t* const reference);
unsigned int amxc_array_it_index(const amxc_array_it_t* const it);

static inline void* amxc_array_it_get_data(const amxc_array_it_t* const it) {
    return it != NULL ? it->data : NULL;
}

#ifdef __cplusplus
}
#endif

#endif /* __AMXC_ARRAY_H__ */
