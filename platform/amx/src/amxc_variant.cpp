// Variant lifecycle, setters, non-converting getters, copy, move and compare.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

#include "amxc_priv.h"

namespace amxc {

TextBuf::~TextBuf() {
    free(data);
}

void TextBuf::append(const char* text, size_t n) {
    if(failed) {
        return;
    }
    if(len + n + 1 > cap) {
        size_t want = cap > 0 ? cap * 2 : 64;
        while(want < len + n + 1) {
            want *= 2;
        }
        auto* grown = static_cast<char*>(realloc(data, want));
        if(grown == nullptr) {
            failed = true;
            return;
        }
        data = grown;
        cap = want;
    }
    memcpy(data + len, text, n);
    len += n;
    data[len] = 0;
}

void TextBuf::append(const char* text) {
    append(text, strlen(text));
}

void TextBuf::appendf(const char* fmt, ...) {
    char small[128];
    va_list args;
    va_start(args, fmt);
    int n = vsnprintf(small, sizeof(small), fmt, args);
    va_end(args);
    if(n < 0) {
        failed = true;
        return;
    }
    if(static_cast<size_t>(n) < sizeof(small)) {
        append(small, static_cast<size_t>(n));
        return;
    }
    auto* big = static_cast<char*>(malloc(static_cast<size_t>(n) + 1));
    if(big == nullptr) {
        failed = true;
        return;
    }
    va_start(args, fmt);
    vsnprintf(big, static_cast<size_t>(n) + 1, fmt, args);
    va_end(args);
    append(big, static_cast<size_t>(n));
    free(big);
}

char* TextBuf::release() {
    if(failed) {
        return nullptr;
    }
    if(data == nullptr) {
        append("", 0);
    }
    char* out = data;
    data = nullptr;
    len = cap = 0;
    return out;
}

} // namespace amxc

namespace {

struct TypeInfo {
    amxc_var_type_id_t id;
    const char* name;
};

constexpr TypeInfo type_names[] = {
    {AMXC_VAR_ID_NULL, AMXC_VAR_NAME_NULL},
    {AMXC_VAR_ID_CSTRING, AMXC_VAR_NAME_CSTRING},
    {AMXC_VAR_ID_INT8, AMXC_VAR_NAME_INT8},
    {AMXC_VAR_ID_INT16, AMXC_VAR_NAME_INT16},
    {AMXC_VAR_ID_INT32, AMXC_VAR_NAME_INT32},
    {AMXC_VAR_ID_INT64, AMXC_VAR_NAME_INT64},
    {AMXC_VAR_ID_UINT8, AMXC_VAR_NAME_UINT8},
    {AMXC_VAR_ID_UINT16, AMXC_VAR_NAME_UINT16},
    {AMXC_VAR_ID_UINT32, AMXC_VAR_NAME_UINT32},
    {AMXC_VAR_ID_UINT64, AMXC_VAR_NAME_UINT64},
    {AMXC_VAR_ID_FLOAT, AMXC_VAR_NAME_FLOAT},
    {AMXC_VAR_ID_DOUBLE, AMXC_VAR_NAME_DOUBLE},
    {AMXC_VAR_ID_BOOL, AMXC_VAR_NAME_BOOL},
    {AMXC_VAR_ID_LIST, AMXC_VAR_NAME_LIST},
    {AMXC_VAR_ID_HTABLE, AMXC_VAR_NAME_HTABLE},
    {AMXC_VAR_ID_FD, AMXC_VAR_NAME_FD},
    {AMXC_VAR_ID_TIMESTAMP, AMXC_VAR_NAME_TIMESTAMP},
    {AMXC_VAR_ID_CSV_STRING, AMXC_VAR_NAME_CSV_STRING},
    {AMXC_VAR_ID_SSV_STRING, AMXC_VAR_NAME_SSV_STRING},
};

bool is_string(amxc_var_type_id_t type) {
    return type == AMXC_VAR_ID_CSTRING || type == AMXC_VAR_ID_CSV_STRING || type == AMXC_VAR_ID_SSV_STRING;
}

// Types that have storage behind them (float has an id but no implementation).
bool is_settable(amxc_var_type_id_t type) {
    return type < AMXC_VAR_ID_ANY && type != AMXC_VAR_ID_FLOAT;
}

int set_string(amxc_var_t* var, amxc_var_type_id_t type, const char* val) {
    if(var == nullptr || val == nullptr) {
        return -1;
    }
    char* copy = strdup(val);
    if(copy == nullptr) {
        return -1;
    }
    amxc_var_set_type(var, type);
    var->data.s = copy;
    return 0;
}

int push_string(amxc_var_t* var, amxc_var_type_id_t type, char* val) {
    if(var == nullptr || val == nullptr) {
        return -1;
    }
    amxc_var_set_type(var, type);
    var->data.s = val;
    return 0;
}

template <typename T>
int cmp3(T a, T b) {
    return (a > b) - (a < b);
}

int compare_same(const amxc_var_t* v1, const amxc_var_t* v2, int* result);

int compare_lists(const amxc_var_t* v1, const amxc_var_t* v2, int* result) {
    const amxc_llist_it_t* a = v1->data.vl.head;
    const amxc_llist_it_t* b = v2->data.vl.head;
    for(; a != nullptr && b != nullptr; a = a->next, b = b->next) {
        int rc = amxc_var_compare(amxc_var_from_llist_it(a), amxc_var_from_llist_it(b), result);
        if(rc != 0 || *result != 0) {
            return rc;
        }
    }
    *result = (a != nullptr) - (b != nullptr);
    return 0;
}

int compare_tables(const amxc_var_t* v1, const amxc_var_t* v2, int* result) {
    *result = cmp3(v1->data.vm.items, v2->data.vm.items);
    if(*result != 0) {
        return 0;
    }
    amxc_array_t* keys1 = amxc_htable_get_sorted_keys(&v1->data.vm);
    amxc_array_t* keys2 = amxc_htable_get_sorted_keys(&v2->data.vm);
    int rc = (keys1 == nullptr || keys2 == nullptr) ? -1 : 0;
    size_t n = v1->data.vm.items;
    for(size_t i = 0; rc == 0 && i < n && *result == 0; i++) {
        *result =
            strcmp(static_cast<const char*>(keys1->buffer[i].data), static_cast<const char*>(keys2->buffer[i].data));
    }
    for(size_t i = 0; rc == 0 && i < n && *result == 0; i++) {
        const char* key = static_cast<const char*>(keys1->buffer[i].data);
        rc = amxc_var_compare(amxc_var_get_key(v1, key, AMXC_VAR_FLAG_DEFAULT),
                              amxc_var_get_key(v2, key, AMXC_VAR_FLAG_DEFAULT), result);
    }
    amxc_array_delete(&keys1, nullptr);
    amxc_array_delete(&keys2, nullptr);
    return rc;
}

int compare_same(const amxc_var_t* v1, const amxc_var_t* v2, int* result) {
    const auto& a = v1->data;
    const auto& b = v2->data;
    switch(v1->type_id) {
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING: *result = strcmp(a.s != nullptr ? a.s : "", b.s != nullptr ? b.s : ""); return 0;
        case AMXC_VAR_ID_INT8: *result = cmp3(a.i8, b.i8); return 0;
        case AMXC_VAR_ID_INT16: *result = cmp3(a.i16, b.i16); return 0;
        case AMXC_VAR_ID_INT32: *result = cmp3(a.i32, b.i32); return 0;
        case AMXC_VAR_ID_INT64: *result = cmp3(a.i64, b.i64); return 0;
        case AMXC_VAR_ID_UINT8: *result = cmp3(a.ui8, b.ui8); return 0;
        case AMXC_VAR_ID_UINT16: *result = cmp3(a.ui16, b.ui16); return 0;
        case AMXC_VAR_ID_UINT32: *result = cmp3(a.ui32, b.ui32); return 0;
        case AMXC_VAR_ID_UINT64: *result = cmp3(a.ui64, b.ui64); return 0;
        case AMXC_VAR_ID_DOUBLE: *result = cmp3(a.d, b.d); return 0;
        case AMXC_VAR_ID_BOOL: *result = cmp3(a.b, b.b); return 0;
        case AMXC_VAR_ID_FD: *result = cmp3(a.fd, b.fd); return 0;
        case AMXC_VAR_ID_TIMESTAMP:
            *result = a.ts.sec != b.ts.sec ? cmp3(a.ts.sec, b.ts.sec) : cmp3(a.ts.nsec, b.ts.nsec);
            return 0;
        case AMXC_VAR_ID_LIST: return compare_lists(v1, v2, result);
        case AMXC_VAR_ID_HTABLE: return compare_tables(v1, v2, result);
        default: return -1;
    }
}

int copy_children(amxc_var_t* dest, const amxc_var_t* src) {
    if(src->type_id == AMXC_VAR_ID_LIST) {
        for(const amxc_llist_it_t* it = src->data.vl.head; it != nullptr; it = it->next) {
            amxc_var_t* child = amxc_var_add_new(dest);
            if(child == nullptr || amxc_var_copy(child, amxc_var_from_llist_it(it)) != 0) {
                return -1;
            }
        }
        return 0;
    }
    for(amxc_htable_it_t* it = amxc_htable_get_first(&src->data.vm); it != nullptr; it = amxc_htable_it_get_next(it)) {
        amxc_var_t* child = nullptr;
        if(amxc_var_new(&child) != 0) {
            return -1;
        }
        if(amxc_var_copy(child, amxc_var_from_htable_it(it)) != 0 ||
           amxc_htable_insert(&dest->data.vm, it->key, &child->hit) != 0) {
            amxc_var_delete(&child);
            return -1;
        }
    }
    return 0;
}

} // namespace

extern "C" {

int amxc_var_new(amxc_var_t** var) {
    if(var == nullptr) {
        return -1;
    }
    *var = static_cast<amxc_var_t*>(malloc(sizeof(amxc_var_t)));
    if(*var == nullptr) {
        return -1;
    }
    return amxc_var_init(*var);
}

void amxc_var_delete(amxc_var_t** var) {
    if(var == nullptr || *var == nullptr) {
        return;
    }
    amxc_var_t* v = *var;
    amxc_var_clean(v);
    amxc_llist_it_take(&v->lit);
    amxc_htable_it_clean(&v->hit, nullptr);
    free(v);
    *var = nullptr;
}

int amxc_var_init(amxc_var_t* const var) {
    if(var == nullptr) {
        return -1;
    }
    amxc_llist_it_init(&var->lit);
    amxc_htable_it_init(&var->hit);
    var->type_id = AMXC_VAR_ID_NULL;
    memset(&var->data, 0, sizeof(var->data));
    return 0;
}

void amxc_var_clean(amxc_var_t* const var) {
    if(var == nullptr) {
        return;
    }
    switch(var->type_id) {
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING: free(var->data.s); break;
        case AMXC_VAR_ID_LIST: amxc_llist_clean(&var->data.vl, variant_list_it_free); break;
        case AMXC_VAR_ID_HTABLE: amxc_htable_clean(&var->data.vm, variant_htable_it_free); break;
        default: break;
    }
    var->type_id = AMXC_VAR_ID_NULL;
    memset(&var->data, 0, sizeof(var->data));
}

int amxc_var_set_type(amxc_var_t* const var, const amxc_var_type_id_t type) {
    if(var == nullptr || !is_settable(type)) {
        return -1;
    }
    amxc_var_clean(var);
    var->type_id = type;
    if(type == AMXC_VAR_ID_LIST) {
        amxc_llist_init(&var->data.vl);
    } else if(type == AMXC_VAR_ID_HTABLE) {
        amxc_htable_init(&var->data.vm, 0);
    }
    return 0;
}

amxc_var_type_id_t amxc_var_type_of(const amxc_var_t* const var) {
    return var != nullptr ? var->type_id : AMXC_VAR_ID_INVALID;
}

const char* amxc_var_type_name_of(const amxc_var_t* const var) {
    return var != nullptr ? amxc_var_get_type_name_from_id(var->type_id) : nullptr;
}

const char* amxc_var_get_type_name_from_id(const amxc_var_type_id_t type_id) {
    for(const auto& info : type_names) {
        if(info.id == type_id) {
            return info.name;
        }
    }
    return nullptr;
}

amxc_var_type_id_t amxc_var_get_type_id_from_name(const char* const name) {
    if(name != nullptr) {
        for(const auto& info : type_names) {
            if(strcmp(info.name, name) == 0) {
                return info.id;
            }
        }
    }
    return AMXC_VAR_ID_INVALID;
}

int amxc_var_copy(amxc_var_t* const dest, const amxc_var_t* const src) {
    if(dest == nullptr) {
        return -1;
    }
    if(dest == src) {
        return 0;
    }
    amxc_var_clean(dest);
    if(src == nullptr) {
        return -1;
    }
    if(amxc_var_set_type(dest, src->type_id) != 0) {
        return -1;
    }
    int rc = 0;
    switch(src->type_id) {
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING:
            if(src->data.s != nullptr) {
                dest->data.s = strdup(src->data.s);
                rc = dest->data.s != nullptr ? 0 : -1;
            }
            break;
        case AMXC_VAR_ID_LIST:
        case AMXC_VAR_ID_HTABLE: rc = copy_children(dest, src); break;
        default: memcpy(&dest->data, &src->data, sizeof(dest->data)); break;
    }
    if(rc != 0) {
        amxc_var_clean(dest);
    }
    return rc;
}

int amxc_var_move(amxc_var_t* const dest, amxc_var_t* const src) {
    if(dest == nullptr || src == nullptr) {
        return -1;
    }
    if(dest == src) {
        return 0;
    }
    amxc_var_clean(dest);
    dest->type_id = src->type_id;
    if(src->type_id == AMXC_VAR_ID_LIST) {
        amxc_llist_init(&dest->data.vl);
        amxc_llist_move(&dest->data.vl, &src->data.vl);
    } else {
        memcpy(&dest->data, &src->data, sizeof(dest->data));
        if(src->type_id == AMXC_VAR_ID_HTABLE) {
            amxc_htable_relocated(&dest->data.vm);
        }
    }
    src->type_id = AMXC_VAR_ID_NULL;
    memset(&src->data, 0, sizeof(src->data));
    return 0;
}

int amxc_var_compare(const amxc_var_t* const var1, const amxc_var_t* const var2, int* const result) {
    if(result == nullptr) {
        return -1;
    }
    *result = 0;
    bool null1 = amxc_var_is_null(var1);
    bool null2 = amxc_var_is_null(var2);
    if(null1 || null2) {
        *result = (null1 && null2) ? 0 : (null1 ? -1 : 1);
        return 0;
    }
    if(var1->type_id == var2->type_id) {
        return compare_same(var1, var2, result);
    }
    amxc_var_t tmp;
    amxc_var_init(&tmp);
    int rc = -1;
    if(amxc_var_convert(&tmp, var2, var1->type_id) == 0) {
        rc = compare_same(var1, &tmp, result);
    } else if(amxc_var_convert(&tmp, var1, var2->type_id) == 0) {
        rc = compare_same(&tmp, var2, result);
    }
    amxc_var_clean(&tmp);
    return rc;
}

int amxc_var_set_bool(amxc_var_t* const var, bool boolean) {
    if(var == nullptr) {
        return -1;
    }
    amxc_var_set_type(var, AMXC_VAR_ID_BOOL);
    var->data.b = boolean;
    return 0;
}

#define AMXC_SCALAR_SETTER(type, id, field)                                                                            \
    int amxc_var_set_##type(amxc_var_t* const var, type val) {                                                         \
        if(var == nullptr) {                                                                                           \
            return -1;                                                                                                 \
        }                                                                                                              \
        amxc_var_set_type(var, id);                                                                                    \
        var->data.field = val;                                                                                         \
        return 0;                                                                                                      \
    }

AMXC_SCALAR_SETTER(int8_t, AMXC_VAR_ID_INT8, i8)
AMXC_SCALAR_SETTER(uint8_t, AMXC_VAR_ID_UINT8, ui8)
AMXC_SCALAR_SETTER(int16_t, AMXC_VAR_ID_INT16, i16)
AMXC_SCALAR_SETTER(uint16_t, AMXC_VAR_ID_UINT16, ui16)
AMXC_SCALAR_SETTER(int32_t, AMXC_VAR_ID_INT32, i32)
AMXC_SCALAR_SETTER(uint32_t, AMXC_VAR_ID_UINT32, ui32)
AMXC_SCALAR_SETTER(int64_t, AMXC_VAR_ID_INT64, i64)
AMXC_SCALAR_SETTER(uint64_t, AMXC_VAR_ID_UINT64, ui64)
AMXC_SCALAR_SETTER(double, AMXC_VAR_ID_DOUBLE, d)

int amxc_var_set_cstring_t(amxc_var_t* const var, const char* const val) {
    return set_string(var, AMXC_VAR_ID_CSTRING, val);
}

int amxc_var_set_csv_string_t(amxc_var_t* const var, const char* const val) {
    return set_string(var, AMXC_VAR_ID_CSV_STRING, val);
}

int amxc_var_set_ssv_string_t(amxc_var_t* const var, const char* const val) {
    return set_string(var, AMXC_VAR_ID_SSV_STRING, val);
}

int amxc_var_set_fd_t(amxc_var_t* var, int val) {
    if(var == nullptr || fcntl(val, F_GETFD) == -1) {
        return -1;
    }
    amxc_var_set_type(var, AMXC_VAR_ID_FD);
    var->data.fd = val;
    return 0;
}

int amxc_var_set_amxc_ts_t(amxc_var_t* var, const amxc_ts_t* val) {
    if(var == nullptr || val == nullptr) {
        return -1;
    }
    amxc_ts_t copy = *val;
    amxc_var_set_type(var, AMXC_VAR_ID_TIMESTAMP);
    var->data.ts = copy;
    return 0;
}

int amxc_var_push_cstring_t(amxc_var_t* const var, char* val) {
    return push_string(var, AMXC_VAR_ID_CSTRING, val);
}

int amxc_var_push_csv_string_t(amxc_var_t* const var, char* val) {
    return push_string(var, AMXC_VAR_ID_CSV_STRING, val);
}

int amxc_var_push_ssv_string_t(amxc_var_t* const var, char* val) {
    return push_string(var, AMXC_VAR_ID_SSV_STRING, val);
}

char* amxc_var_take_cstring_t(amxc_var_t* const var) {
    if(var == nullptr || !is_string(var->type_id)) {
        return nullptr;
    }
    char* text = var->data.s;
    var->data.s = nullptr;
    var->type_id = AMXC_VAR_ID_NULL;
    return text;
}

const char* amxc_var_get_const_cstring_t(const amxc_var_t* const var) {
    if(var == nullptr || !is_string(var->type_id)) {
        return nullptr;
    }
    return var->data.s != nullptr ? var->data.s : "";
}

const amxc_htable_t* amxc_var_get_const_amxc_htable_t(const amxc_var_t* const var) {
    return var != nullptr && var->type_id == AMXC_VAR_ID_HTABLE ? &var->data.vm : nullptr;
}

const amxc_llist_t* amxc_var_get_const_amxc_llist_t(const amxc_var_t* const var) {
    return var != nullptr && var->type_id == AMXC_VAR_ID_LIST ? &var->data.vl : nullptr;
}

#define AMXC_CONST_GETTER(type, id, field)                                                                             \
    type amxc_var_get_const_##type(const amxc_var_t* const var) {                                                      \
        return var != nullptr && var->type_id == (id) ? var->data.field : type{};                                      \
    }

AMXC_CONST_GETTER(bool, AMXC_VAR_ID_BOOL, b)
AMXC_CONST_GETTER(int8_t, AMXC_VAR_ID_INT8, i8)
AMXC_CONST_GETTER(uint8_t, AMXC_VAR_ID_UINT8, ui8)
AMXC_CONST_GETTER(int16_t, AMXC_VAR_ID_INT16, i16)
AMXC_CONST_GETTER(uint16_t, AMXC_VAR_ID_UINT16, ui16)
AMXC_CONST_GETTER(int32_t, AMXC_VAR_ID_INT32, i32)
AMXC_CONST_GETTER(uint32_t, AMXC_VAR_ID_UINT32, ui32)
AMXC_CONST_GETTER(int64_t, AMXC_VAR_ID_INT64, i64)
AMXC_CONST_GETTER(uint64_t, AMXC_VAR_ID_UINT64, ui64)
AMXC_CONST_GETTER(double, AMXC_VAR_ID_DOUBLE, d)

fd_t amxc_var_get_const_fd_t(const amxc_var_t* const var) {
    return var != nullptr && var->type_id == AMXC_VAR_ID_FD ? var->data.fd : -1;
}

const amxc_ts_t* amxc_var_get_const_amxc_ts_t(const amxc_var_t* const var) {
    return var != nullptr && var->type_id == AMXC_VAR_ID_TIMESTAMP ? &var->data.ts : nullptr;
}

void variant_list_it_free(amxc_llist_it_t* it) {
    if(it != nullptr) {
        amxc_var_t* var = amxc_var_from_llist_it(it);
        amxc_var_delete(&var);
    }
}

void variant_htable_it_free(UNUSED const char* key, amxc_htable_it_t* it) {
    if(it != nullptr) {
        amxc_var_t* var = amxc_var_from_htable_it(it);
        amxc_var_delete(&var);
    }
}

} // extern "C"
