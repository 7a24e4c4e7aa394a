// Fixed-slot array of data pointers; a slot is used when its data is set.
#include <cstdlib>
#include <cstring>

#include <amxc/amxc_array.h>

extern "C" {

int amxc_array_new(amxc_array_t** array, const size_t items) {
    if(array == nullptr) {
        return -1;
    }
    *array = static_cast<amxc_array_t*>(calloc(1, sizeof(amxc_array_t)));
    if(*array == nullptr) {
        return -1;
    }
    if(amxc_array_init(*array, items) != 0) {
        free(*array);
        *array = nullptr;
        return -1;
    }
    return 0;
}

void amxc_array_delete(amxc_array_t** array, const amxc_array_it_delete_t func) {
    if(array == nullptr || *array == nullptr) {
        return;
    }
    amxc_array_clean(*array, func);
    free(*array);
    *array = nullptr;
}

int amxc_array_init(amxc_array_t* const array, const size_t items) {
    if(array == nullptr) {
        return -1;
    }
    array->items = 0;
    array->first_used = 0;
    array->last_used = 0;
    array->buffer = nullptr;
    return items > 0 ? amxc_array_grow(array, items) : 0;
}

void amxc_array_clean(amxc_array_t* const array, amxc_array_it_delete_t func) {
    if(array == nullptr) {
        return;
    }
    if(func != nullptr) {
        for(size_t i = 0; i < array->items; i++) {
            if(array->buffer[i].data != nullptr) {
                func(&array->buffer[i]);
                array->buffer[i].data = nullptr;
            }
        }
    }
    free(array->buffer);
    array->buffer = nullptr;
    array->items = 0;
    array->first_used = 0;
    array->last_used = 0;
}

int amxc_array_grow(amxc_array_t* const array, const size_t items) {
    if(array == nullptr) {
        return -1;
    }
    if(items == 0) {
        return 0;
    }
    size_t capacity = array->items + items;
    auto* buffer = static_cast<amxc_array_it_t*>(realloc(array->buffer, capacity * sizeof(amxc_array_it_t)));
    if(buffer == nullptr) {
        return -1;
    }
    memset(buffer + array->items, 0, items * sizeof(amxc_array_it_t));
    for(size_t i = 0; i < capacity; i++) {
        buffer[i].array = array;
    }
    array->buffer = buffer;
    array->items = capacity;
    return 0;
}

size_t amxc_array_capacity(const amxc_array_t* const array) {
    return array != nullptr ? array->items : 0;
}

size_t amxc_array_size(const amxc_array_t* const array) {
    size_t count = 0;
    if(array != nullptr) {
        for(size_t i = 0; i < array->items; i++) {
            count += array->buffer[i].data != nullptr ? 1 : 0;
        }
    }
    return count;
}

bool amxc_array_is_empty(const amxc_array_t* const array) {
    return amxc_array_size(array) == 0;
}

amxc_array_it_t* amxc_array_append_data(amxc_array_t* const array, void* data) {
    if(array == nullptr || data == nullptr) {
        return nullptr;
    }
    bool empty = amxc_array_is_empty(array);
    size_t index = empty ? 0 : array->last_used + 1;
    if(index >= array->items && amxc_array_grow(array, array->items > 0 ? array->items : 4) != 0) {
        return nullptr;
    }
    array->buffer[index].data = data;
    if(empty) {
        array->first_used = index;
    }
    array->last_used = index;
    return &array->buffer[index];
}

amxc_array_it_t* amxc_array_get_at(const amxc_array_t* const array, const unsigned int index) {
    if(array == nullptr || index >= array->items) {
        return nullptr;
    }
    return &array->buffer[index];
}

void* amxc_array_get_data_at(const amxc_array_t* const array, const unsigned int index) {
    return amxc_array_it_get_data(amxc_array_get_at(array, index));
}

amxc_array_it_t* amxc_array_get_first(const amxc_array_t* const array) {
    if(array == nullptr) {
        return nullptr;
    }
    for(size_t i = 0; i < array->items; i++) {
        if(array->buffer[i].data != nullptr) {
            return &array->buffer[i];
        }
    }
    return nullptr;
}

amxc_array_it_t* amxc_array_it_get_next(const amxc_array_it_t* const reference) {
    if(reference == nullptr || reference->array == nullptr) {
        return nullptr;
    }
    const amxc_array_t* array = reference->array;
    for(size_t i = amxc_array_it_index(reference) + 1; i < array->items; i++) {
        if(array->buffer[i].data != nullptr) {
            return &array->buffer[i];
        }
    }
    return nullptr;
}

unsigned int amxc_array_it_index(const amxc_array_it_t* const it) {
    if(it == nullptr || it->array == nullptr) {
        return 0;
    }
    return static_cast<unsigned int>(it - it->array->buffer);
}

} // extern "C"
