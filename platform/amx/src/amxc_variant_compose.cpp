// Building, walking and searching list and htable variants.
#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "amxc_priv.h"

namespace {

// A key used on a list is a decimal index.
bool key_to_index(const char* key, int64_t& index) {
    if(key == nullptr || !isdigit(static_cast<unsigned char>(*key))) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    long long value = strtoll(key, &end, 10);
    if(errno != 0 || *end != 0) {
        return false;
    }
    index = value;
    return true;
}

amxc_var_t* list_at(const amxc_var_t* var, int64_t index) {
    if(index < 0 || index > UINT32_MAX) {
        return nullptr;
    }
    amxc_llist_it_t* it = amxc_llist_get_at(&var->data.vl, static_cast<unsigned int>(index));
    return it != nullptr ? amxc_var_from_llist_it(it) : nullptr;
}

amxc_var_t* table_at(const amxc_var_t* var, int64_t index) {
    if(index < 0) {
        return nullptr;
    }
    amxc_htable_it_t* it = amxc_htable_get_first(&var->data.vm);
    for(int64_t i = 0; it != nullptr && i < index; i++) {
        it = amxc_htable_it_get_next(it);
    }
    return it != nullptr ? amxc_var_from_htable_it(it) : nullptr;
}

amxc_var_t* child_by_key(const amxc_var_t* var, const char* key) {
    if(var->type_id == AMXC_VAR_ID_HTABLE) {
        amxc_htable_it_t* it = amxc_htable_get(&var->data.vm, key);
        return it != nullptr ? amxc_var_from_htable_it(it) : nullptr;
    }
    int64_t index = 0;
    if(var->type_id == AMXC_VAR_ID_LIST && key_to_index(key, index)) {
        return list_at(var, index);
    }
    return nullptr;
}

amxc_var_t* child_by_index(const amxc_var_t* var, int64_t index) {
    switch(var->type_id) {
        case AMXC_VAR_ID_LIST: return list_at(var, index);
        case AMXC_VAR_ID_HTABLE: return table_at(var, index);
        default: return nullptr;
    }
}

// The child itself, or a new copy of it when COPY is asked for.
amxc_var_t* hand_out(amxc_var_t* child, int flags) {
    if(child == nullptr || (flags & AMXC_VAR_FLAG_COPY) == 0) {
        return child;
    }
    amxc_var_t* copy = nullptr;
    if(amxc_var_new(&copy) != 0 || amxc_var_copy(copy, child) != 0) {
        amxc_var_delete(&copy);
    }
    return copy;
}

// The variant to store: `data` itself or, with COPY, a new copy of it.
amxc_var_t* take_in(amxc_var_t* data, int flags) {
    return hand_out(data, flags);
}

void drop_copy(amxc_var_t* item, amxc_var_t* data) {
    if(item != data) {
        amxc_var_delete(&item);
    }
}

template <typename Setter>
amxc_var_t* add_key_with(amxc_var_t* var, const char* key, Setter set) {
    amxc_var_t* child = amxc_var_add_new_key(var, key);
    if(child != nullptr && set(child) != 0) {
        amxc_var_delete(&child);
    }
    return child;
}

template <typename Setter>
amxc_var_t* add_with(amxc_var_t* var, Setter set) {
    amxc_var_t* child = amxc_var_add_new(var);
    if(child != nullptr && set(child) != 0) {
        amxc_var_delete(&child);
    }
    return child;
}

// Fills `child` with copies of the variants held by a plain list or htable.
int fill_list(amxc_var_t* child, const amxc_llist_t* list) {
    amxc_var_set_type(child, AMXC_VAR_ID_LIST);
    for(const amxc_llist_it_t* it = amxc_llist_get_first(list); it != nullptr; it = it->next) {
        amxc_var_t* copy = amxc_var_add_new(child);
        if(copy == nullptr || amxc_var_copy(copy, amxc_var_from_llist_it(it)) != 0) {
            return -1;
        }
    }
    return 0;
}

int fill_htable(amxc_var_t* child, const amxc_htable_t* htable) {
    amxc_var_set_type(child, AMXC_VAR_ID_HTABLE);
    for(amxc_htable_it_t* it = amxc_htable_get_first(htable); it != nullptr; it = amxc_htable_it_get_next(it)) {
        amxc_var_t* copy = amxc_var_add_new_key(child, it->key);
        if(copy == nullptr || amxc_var_copy(copy, amxc_var_from_htable_it(it)) != 0) {
            return -1;
        }
    }
    return 0;
}

// Next part of a dotted path into `part`; quotes protect dots. Returns the
// position after the part, or NULL at the end.
const char* next_part(const char* p, char* part, size_t size) {
    while(*p == '.') {
        p++;
    }
    if(*p == 0) {
        return nullptr;
    }
    size_t n = 0;
    char quote = 0;
    for(; *p != 0 && (quote != 0 || *p != '.'); p++) {
        if(quote == 0 && (*p == '\'' || *p == '"')) {
            quote = *p;
            continue;
        }
        if(quote != 0 && *p == quote) {
            quote = 0;
            continue;
        }
        if(n + 1 < size) {
            part[n++] = *p;
        }
    }
    part[n] = 0;
    return p;
}

template <typename T>
bool add_checked(T a, T b, T& out) {
    return !__builtin_add_overflow(a, b, &out);
}

int add_same_type(amxc_var_t* dest, const amxc_var_t* value) {
    auto& d = dest->data;
    const auto& v = value->data;
    switch(dest->type_id) {
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING: {
            amxc::TextBuf out;
            out.append(d.s != nullptr ? d.s : "");
            out.append(v.s != nullptr ? v.s : "");
            char* text = out.release();
            if(text == nullptr) {
                return -1;
            }
            free(d.s);
            d.s = text;
            return 0;
        }
        case AMXC_VAR_ID_INT8: return add_checked(d.i8, v.i8, d.i8) ? 0 : -1;
        case AMXC_VAR_ID_INT16: return add_checked(d.i16, v.i16, d.i16) ? 0 : -1;
        case AMXC_VAR_ID_INT32: return add_checked(d.i32, v.i32, d.i32) ? 0 : -1;
        case AMXC_VAR_ID_INT64: return add_checked(d.i64, v.i64, d.i64) ? 0 : -1;
        case AMXC_VAR_ID_UINT8: return add_checked(d.ui8, v.ui8, d.ui8) ? 0 : -1;
        case AMXC_VAR_ID_UINT16: return add_checked(d.ui16, v.ui16, d.ui16) ? 0 : -1;
        case AMXC_VAR_ID_UINT32: return add_checked(d.ui32, v.ui32, d.ui32) ? 0 : -1;
        case AMXC_VAR_ID_UINT64: return add_checked(d.ui64, v.ui64, d.ui64) ? 0 : -1;
        case AMXC_VAR_ID_DOUBLE: d.d += v.d; return 0;
        case AMXC_VAR_ID_LIST:
            for(amxc_var_t* child = amxc_var_get_first(value); child != nullptr; child = amxc_var_get_next(child)) {
                amxc_var_t* copy = amxc_var_add_new(dest);
                if(copy == nullptr || amxc_var_copy(copy, child) != 0) {
                    return -1;
                }
            }
            return 0;
        case AMXC_VAR_ID_HTABLE:
            for(amxc_var_t* child = amxc_var_get_first(value); child != nullptr; child = amxc_var_get_next(child)) {
                if(amxc_var_set_key(dest, child->hit.key, child, AMXC_VAR_FLAG_COPY | AMXC_VAR_FLAG_UPDATE) != 0) {
                    return -1;
                }
            }
            return 0;
        default: return -1;
    }
}

} // namespace

extern "C" {

amxc_var_t* amxc_var_add_new_key(amxc_var_t* const var, const char* key) {
    if(var == nullptr || key == nullptr || *key == 0) {
        return nullptr;
    }
    if(var->type_id != AMXC_VAR_ID_HTABLE && var->type_id != AMXC_VAR_ID_LIST) {
        return nullptr;
    }
    if(var->type_id == AMXC_VAR_ID_HTABLE && amxc_htable_contains(&var->data.vm, key)) {
        return nullptr;
    }
    amxc_var_t* child = nullptr;
    if(amxc_var_new(&child) != 0) {
        return nullptr;
    }
    int rc = var->type_id == AMXC_VAR_ID_HTABLE ? amxc_htable_insert(&var->data.vm, key, &child->hit)
                                                : amxc_var_set_key(var, key, child, AMXC_VAR_FLAG_DEFAULT);
    if(rc != 0) {
        amxc_var_delete(&child);
    }
    return child;
}

amxc_var_t* amxc_var_add_new(amxc_var_t* const var) {
    if(var == nullptr || var->type_id != AMXC_VAR_ID_LIST) {
        return nullptr;
    }
    amxc_var_t* child = nullptr;
    if(amxc_var_new(&child) == 0) {
        amxc_llist_append(&var->data.vl, &child->lit);
    }
    return child;
}

#define AMXC_ADDERS(type)                                                                                              \
    amxc_var_t* amxc_var_add_new_key_##type(amxc_var_t* const var, const char* key, type val) {                        \
        return add_key_with(var, key, [val](amxc_var_t* child) { return amxc_var_set_##type(child, val); });           \
    }                                                                                                                  \
    amxc_var_t* amxc_var_add_new_##type(amxc_var_t* const var, type val) {                                             \
        return add_with(var, [val](amxc_var_t* child) { return amxc_var_set_##type(child, val); });                    \
    }

AMXC_ADDERS(bool)
AMXC_ADDERS(int8_t)
AMXC_ADDERS(uint8_t)
AMXC_ADDERS(int16_t)
AMXC_ADDERS(uint16_t)
AMXC_ADDERS(int32_t)
AMXC_ADDERS(uint32_t)
AMXC_ADDERS(int64_t)
AMXC_ADDERS(uint64_t)
AMXC_ADDERS(double)

#define AMXC_STRING_ADDERS(type)                                                                                       \
    amxc_var_t* amxc_var_add_new_key_##type(amxc_var_t* const var, const char* key, const char* const val) {           \
        return val != nullptr                                                                                          \
                   ? add_key_with(var, key, [val](amxc_var_t* child) { return amxc_var_set_##type(child, val); })      \
                   : nullptr;                                                                                          \
    }                                                                                                                  \
    amxc_var_t* amxc_var_add_new_##type(amxc_var_t* const var, const char* const val) {                                \
        return val != nullptr ? add_with(var, [val](amxc_var_t* child) { return amxc_var_set_##type(child, val); })    \
                              : nullptr;                                                                               \
    }

AMXC_STRING_ADDERS(cstring_t)
AMXC_STRING_ADDERS(csv_string_t)
AMXC_STRING_ADDERS(ssv_string_t)

amxc_var_t* amxc_var_add_new_key_fd_t(amxc_var_t* const var, const char* key, int val) {
    return add_key_with(var, key, [val](amxc_var_t* child) { return amxc_var_set_fd_t(child, val); });
}

amxc_var_t* amxc_var_add_new_fd_t(amxc_var_t* const var, int val) {
    return add_with(var, [val](amxc_var_t* child) { return amxc_var_set_fd_t(child, val); });
}

amxc_var_t* amxc_var_add_new_key_amxc_ts_t(amxc_var_t* const var, const char* key, const amxc_ts_t* ts) {
    return add_key_with(var, key, [ts](amxc_var_t* child) { return amxc_var_set_amxc_ts_t(child, ts); });
}

amxc_var_t* amxc_var_add_new_amxc_ts_t(amxc_var_t* const var, const amxc_ts_t* ts) {
    return add_with(var, [ts](amxc_var_t* child) { return amxc_var_set_amxc_ts_t(child, ts); });
}

amxc_var_t* amxc_var_add_new_key_amxc_llist_t(amxc_var_t* const var, const char* key, const amxc_llist_t* list) {
    return add_key_with(var, key, [list](amxc_var_t* child) { return fill_list(child, list); });
}

amxc_var_t* amxc_var_add_new_amxc_llist_t(amxc_var_t* const var, const amxc_llist_t* list) {
    return add_with(var, [list](amxc_var_t* child) { return fill_list(child, list); });
}

amxc_var_t* amxc_var_add_new_key_amxc_htable_t(amxc_var_t* const var, const char* key, const amxc_htable_t* htable) {
    return add_key_with(var, key, [htable](amxc_var_t* child) { return fill_htable(child, htable); });
}

amxc_var_t* amxc_var_add_new_amxc_htable_t(amxc_var_t* const var, const amxc_htable_t* htable) {
    return add_with(var, [htable](amxc_var_t* child) { return fill_htable(child, htable); });
}

int amxc_var_set_key(amxc_var_t* const var, const char* const key, amxc_var_t* data, const int flags) {
    if(var == nullptr || key == nullptr || *key == 0 || data == nullptr) {
        return -1;
    }
    if(var->type_id == AMXC_VAR_ID_LIST) {
        int64_t index = 0;
        return key_to_index(key, index) ? amxc_var_set_index(var, index, data, flags) : -1;
    }
    if(var->type_id != AMXC_VAR_ID_HTABLE) {
        return -1;
    }
    amxc_htable_it_t* existing = amxc_htable_get(&var->data.vm, key);
    if(existing != nullptr && (existing == &data->hit || (flags & AMXC_VAR_FLAG_UPDATE) == 0)) {
        return existing == &data->hit ? 0 : -1;
    }
    amxc_var_t* item = take_in(data, flags);
    if(item == nullptr) {
        return -1;
    }
    // An update keeps the entry's place in the iteration order.
    if(amxc_htable_insert_before(&var->data.vm, key, &item->hit, existing) != 0) {
        drop_copy(item, data);
        return -1;
    }
    if(existing != nullptr) {
        amxc_var_t* old = amxc_var_from_htable_it(existing);
        amxc_var_delete(&old);
    }
    return 0;
}

int amxc_var_set_index(amxc_var_t* const var, const int64_t index, amxc_var_t* data, const int flags) {
    if(var == nullptr || data == nullptr || var->type_id != AMXC_VAR_ID_LIST || index < -1) {
        return -1;
    }
    amxc_var_t* at = index >= 0 ? list_at(var, index) : nullptr;
    if(at == data) {
        return 0;
    }
    if(at == nullptr && index >= 0 && static_cast<size_t>(index) != amxc_llist_size(&var->data.vl)) {
        return -1;
    }
    amxc_var_t* item = take_in(data, flags);
    if(item == nullptr) {
        return -1;
    }
    if(at == nullptr) {
        amxc_llist_append(&var->data.vl, &item->lit);
    } else {
        amxc_llist_it_insert_before(&at->lit, &item->lit);
        if((flags & AMXC_VAR_FLAG_UPDATE) != 0) {
            amxc_var_delete(&at);
        }
    }
    return 0;
}

amxc_var_t* amxc_var_take_key(amxc_var_t* const var, const char* const key) {
    if(var == nullptr || key == nullptr || *key == 0) {
        return nullptr;
    }
    amxc_var_t* child = child_by_key(var, key);
    amxc_var_take_it(child);
    return child;
}

amxc_var_t* amxc_var_take_index(amxc_var_t* const var, const int64_t index) {
    if(var == nullptr) {
        return nullptr;
    }
    amxc_var_t* child = child_by_index(var, index);
    amxc_var_take_it(child);
    return child;
}

int amxc_var_add_value(amxc_var_t* const dest, const amxc_var_t* const value) {
    if(dest == nullptr || value == nullptr) {
        return -1;
    }
    int rc = -1;
    if(dest->type_id == value->type_id) {
        rc = add_same_type(dest, value);
    } else {
        amxc_var_t converted;
        amxc_var_init(&converted);
        if(amxc_var_convert(&converted, value, dest->type_id) == 0) {
            rc = add_same_type(dest, &converted);
        }
        amxc_var_clean(&converted);
    }
    if(rc != 0) {
        amxc_var_clean(dest);
    }
    return rc;
}

amxc_var_t* amxc_var_get_key(const amxc_var_t* const var, const char* const key, const int flags) {
    if(var == nullptr || key == nullptr || *key == 0) {
        return nullptr;
    }
    return hand_out(child_by_key(var, key), flags);
}

amxc_var_t* amxc_var_get_index(const amxc_var_t* const var, const int64_t index, const int flags) {
    if(var == nullptr) {
        return nullptr;
    }
    return hand_out(child_by_index(var, index), flags);
}

amxc_var_t* amxc_var_get_path(const amxc_var_t* const var, const char* const path, const int flags) {
    if(var == nullptr || path == nullptr) {
        return nullptr;
    }
    const amxc_var_t* current = var;
    char part[256];
    for(const char* p = next_part(path, part, sizeof(part)); p != nullptr && current != nullptr;
        p = next_part(p, part, sizeof(part))) {
        const amxc_var_t* child = child_by_key(current, part);
        int64_t index = 0;
        if(child == nullptr && (flags & AMXC_VAR_FLAG_NO_INDEX) == 0 && key_to_index(part, index)) {
            child = child_by_index(current, index);
        }
        current = child;
    }
    return hand_out(const_cast<amxc_var_t*>(current), flags);
}

amxc_var_t* amxc_var_get_pathf(const amxc_var_t* const var, const int flags, const char* const fmt, ...) {
    if(var == nullptr || fmt == nullptr) {
        return nullptr;
    }
    char buffer[512];
    va_list args;
    va_start(args, fmt);
    int n = vsnprintf(buffer, sizeof(buffer), fmt, args);
    va_end(args);
    if(n < 0 || static_cast<size_t>(n) >= sizeof(buffer)) {
        return nullptr;
    }
    return amxc_var_get_path(var, buffer, flags);
}

const char* amxc_var_key(const amxc_var_t* const var) {
    return var != nullptr && var->hit.ait != nullptr ? var->hit.key : nullptr;
}

amxc_var_t* amxc_var_get_parent(const amxc_var_t* const var) {
    if(var == nullptr) {
        return nullptr;
    }
    if(var->hit.ait != nullptr) {
        amxc_htable_t* table = amxc_container_of(var->hit.ait->array, amxc_htable_t, table);
        return amxc_container_of(table, amxc_var_t, data.vm);
    }
    if(var->lit.llist != nullptr) {
        return amxc_container_of(var->lit.llist, amxc_var_t, data.vl);
    }
    return nullptr;
}

amxc_var_t* amxc_var_get_first(const amxc_var_t* const var) {
    if(var == nullptr) {
        return nullptr;
    }
    if(var->type_id == AMXC_VAR_ID_LIST) {
        amxc_llist_it_t* it = amxc_llist_get_first(&var->data.vl);
        return it != nullptr ? amxc_var_from_llist_it(it) : nullptr;
    }
    if(var->type_id == AMXC_VAR_ID_HTABLE) {
        amxc_htable_it_t* it = amxc_htable_get_first(&var->data.vm);
        return it != nullptr ? amxc_var_from_htable_it(it) : nullptr;
    }
    return nullptr;
}

amxc_var_t* amxc_var_get_last(const amxc_var_t* const var) {
    if(var == nullptr) {
        return nullptr;
    }
    if(var->type_id == AMXC_VAR_ID_LIST) {
        amxc_llist_it_t* it = amxc_llist_get_last(&var->data.vl);
        return it != nullptr ? amxc_var_from_llist_it(it) : nullptr;
    }
    if(var->type_id == AMXC_VAR_ID_HTABLE) {
        amxc_htable_it_t* it = amxc_htable_get_last(&var->data.vm);
        return it != nullptr ? amxc_var_from_htable_it(it) : nullptr;
    }
    return nullptr;
}

amxc_var_t* amxc_var_get_next(const amxc_var_t* const var) {
    if(var == nullptr) {
        return nullptr;
    }
    if(var->hit.ait != nullptr) {
        amxc_htable_it_t* it = amxc_htable_it_get_next(&var->hit);
        return it != nullptr ? amxc_var_from_htable_it(it) : nullptr;
    }
    amxc_llist_it_t* it = amxc_llist_it_get_next(&var->lit);
    return it != nullptr ? amxc_var_from_llist_it(it) : nullptr;
}

amxc_var_t* amxc_var_get_previous(const amxc_var_t* const var) {
    if(var == nullptr) {
        return nullptr;
    }
    if(var->hit.ait != nullptr) {
        amxc_htable_it_t* it = amxc_htable_it_get_previous(&var->hit);
        return it != nullptr ? amxc_var_from_htable_it(it) : nullptr;
    }
    amxc_llist_it_t* it = amxc_llist_it_get_previous(&var->lit);
    return it != nullptr ? amxc_var_from_llist_it(it) : nullptr;
}

} // extern "C"
