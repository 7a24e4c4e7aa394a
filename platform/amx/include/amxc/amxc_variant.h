#ifndef __AMXC_VARIANT_H__
#define __AMXC_VARIANT_H__

#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <amxc/amxc_common.h>
#include <amxc/amxc_llist.h>
#include <amxc/amxc_htable.h>
#include <amxc/amxc_timestamp.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Type-name tokens. They stay macros: the accessor macros paste the token onto
 * a function name, so it must reach them unexpanded. */
#define cstring_t char*
#define csv_string_t char*
#define ssv_string_t char*
#define fd_t int

typedef uint32_t amxc_var_type_id_t;

#define AMXC_VAR_ID_NULL 0
#define AMXC_VAR_ID_CSTRING 1
#define AMXC_VAR_ID_INT8 2
#define AMXC_VAR_ID_INT16 3
#define AMXC_VAR_ID_INT32 4
#define AMXC_VAR_ID_INT64 5
#define AMXC_VAR_ID_UINT8 6
#define AMXC_VAR_ID_UINT16 7
#define AMXC_VAR_ID_UINT32 8
#define AMXC_VAR_ID_UINT64 9
#define AMXC_VAR_ID_FLOAT 10
#define AMXC_VAR_ID_DOUBLE 11
#define AMXC_VAR_ID_BOOL 12
#define AMXC_VAR_ID_LIST 13
#define AMXC_VAR_ID_HTABLE 14
#define AMXC_VAR_ID_FD 15
#define AMXC_VAR_ID_TIMESTAMP 16
#define AMXC_VAR_ID_CSV_STRING 17
#define AMXC_VAR_ID_SSV_STRING 18
#define AMXC_VAR_ID_ANY 19
#define AMXC_VAR_ID_CUSTOM_BASE 20
#define AMXC_VAR_ID_INVALID UINT32_MAX
#define AMXC_VAR_ID_MAX UINT32_MAX

#define AMXC_VAR_NAME_NULL "null"
#define AMXC_VAR_NAME_CSTRING "cstring_t"
#define AMXC_VAR_NAME_INT8 "int8_t"
#define AMXC_VAR_NAME_INT16 "int16_t"
#define AMXC_VAR_NAME_INT32 "int32_t"
#define AMXC_VAR_NAME_INT64 "int64_t"
#define AMXC_VAR_NAME_UINT8 "uint8_t"
#define AMXC_VAR_NAME_UINT16 "uint16_t"
#define AMXC_VAR_NAME_UINT32 "uint32_t"
#define AMXC_VAR_NAME_UINT64 "uint64_t"
#define AMXC_VAR_NAME_FLOAT "float"
#define AMXC_VAR_NAME_DOUBLE "double"
#define AMXC_VAR_NAME_BOOL "bool"
#define AMXC_VAR_NAME_LIST "amxc_llist_t"
#define AMXC_VAR_NAME_HTABLE "amxc_htable_t"
#define AMXC_VAR_NAME_FD "fd_t"
#define AMXC_VAR_NAME_TIMESTAMP "amxc_ts_t"
#define AMXC_VAR_NAME_CSV_STRING "csv_string_t"
#define AMXC_VAR_NAME_SSV_STRING "ssv_string_t"

#define AMXC_VAR_FLAG_DEFAULT 0x00
#define AMXC_VAR_FLAG_COPY 0x01
#define AMXC_VAR_FLAG_UPDATE 0x02
#define AMXC_VAR_FLAG_NO_INDEX 0x04
#define AMXC_VAR_FLAG_AUTO_ADD 0x08

typedef struct _amxc_var {
    amxc_llist_it_t lit;
    amxc_htable_it_t hit;
    amxc_var_type_id_t type_id;
    union {
        char* s;
        int8_t i8;
        int16_t i16;
        int32_t i32;
        int64_t i64;
        uint8_t ui8;
        uint16_t ui16;
        uint32_t ui32;
        uint64_t ui64;
        float f;
        double d;
        bool b;
        amxc_llist_t vl;
        amxc_htable_t vm;
        int fd;
        amxc_ts_t ts;
        void* data;
    } data;
} amxc_var_t;

#define amxc_var_from_htable_it(ht_it) amxc_container_of(ht_it, amxc_var_t, hit)
#define amxc_var_from_llist_it(ll_it) amxc_container_of(ll_it, amxc_var_t, lit)

/* Accessor macros: the type token selects the function. */
#define amxc_var_set(type, var, data) amxc_var_set_##type(var, data)
#define amxc_var_dyncast(type, var) amxc_var_get_##type(var)
#define amxc_var_constcast(type, var) amxc_var_get_const_##type(var)
#define amxc_var_add(type, var, data) amxc_var_add_new_##type(var, data)
#define amxc_var_add_key(type, var, key, data) amxc_var_add_new_key_##type(var, key, data)
#define amxc_var_push(type, var, val) amxc_var_push_##type(var, val)
#define amxc_var_take(type, var) amxc_var_take_##type(var)

#define GET_ARG(a, n) amxc_var_get_key(a, n, AMXC_VAR_FLAG_DEFAULT)
#define GET_BOOL(a, n) amxc_var_dyncast(bool, n == NULL ? a : GET_ARG(a, n))
#define GET_CHAR(a, n) amxc_var_constcast(cstring_t, n == NULL ? a : GET_ARG(a, n))
#define GET_UINT32(a, n) amxc_var_dyncast(uint32_t, n == NULL ? a : GET_ARG(a, n))
#define GET_INT32(a, n) amxc_var_dyncast(int32_t, n == NULL ? a : GET_ARG(a, n))

#define GETI_ARG(a, i) amxc_var_get_index(a, i, AMXC_VAR_FLAG_DEFAULT)
#define GETI_BOOL(a, i) amxc_var_dyncast(bool, GETI_ARG(a, i))
#define GETI_CHAR(a, i) amxc_var_constcast(cstring_t, GETI_ARG(a, i))
#define GETI_UINT32(a, i) amxc_var_dyncast(uint32_t, GETI_ARG(a, i))
#define GETI_INT32(a, i) amxc_var_dyncast(int32_t, GETI_ARG(a, i))

#define GETP_ARG(a, p) amxc_var_get_path(a, p, AMXC_VAR_FLAG_DEFAULT)
#define GETP_BOOL(a, p) amxc_var_dyncast(bool, GETP_ARG(a, p))
#define GETP_CHAR(a, p) amxc_var_constcast(cstring_t, GETP_ARG(a, p))
#define GETP_UINT32(a, p) amxc_var_dyncast(uint32_t, GETP_ARG(a, p))
#define GETP_INT32(a, p) amxc_var_dyncast(int32_t, GETP_ARG(a, p))

/* Walks the children of a list or htable variant; the current child may be
 * deleted. Does nothing for other types. */
#define amxc_var_for_each(var, var_list)                                                                               \
    for(amxc_var_t* var = amxc_var_get_first(var_list), *var##_next = amxc_var_get_next(var); var;                     \
        var = var##_next, var##_next = amxc_var_get_next(var))

#define amxc_var_for_each_reverse(var, var_list)                                                                       \
    for(amxc_var_t* var = amxc_var_get_last(var_list), *var##_prev = amxc_var_get_previous(var); var;                  \
        var = var##_prev, var##_prev = amxc_var_get_previous(var))

/* Lifecycle */
int amxc_var_new(amxc_var_t** var);
void amxc_var_delete(amxc_var_t** var);
int amxc_var_init(amxc_var_t* const var);
void amxc_var_clean(amxc_var_t* const var);
int amxc_var_set_type(amxc_var_t* const var, const amxc_var_type_id_t type);
amxc_var_type_id_t amxc_var_type_of(const amxc_var_t* const var);
const char* amxc_var_type_name_of(const amxc_var_t* const var);
const char* amxc_var_get_type_name_from_id(const amxc_var_type_id_t type_id);
amxc_var_type_id_t amxc_var_get_type_id_from_name(const char* const name);
int amxc_var_copy(amxc_var_t* const dest, const amxc_var_t* const src);
int amxc_var_move(amxc_var_t* const dest, amxc_var_t* const src);
int amxc_var_convert(amxc_var_t* const dest, const amxc_var_t* src, const amxc_var_type_id_t type_id);
int amxc_var_cast(amxc_var_t* const var, const amxc_var_type_id_t type_id);
int amxc_var_compare(const amxc_var_t* const var1, const amxc_var_t* const var2, int* const result);

static inline bool amxc_var_is_null(const amxc_var_t* const var) {
    return var == NULL || var->type_id == AMXC_VAR_ID_NULL;
}

/* Setters */
int amxc_var_set_bool(amxc_var_t* const var, bool boolean);
int amxc_var_set_int8_t(amxc_var_t* const var, int8_t val);
int amxc_var_set_uint8_t(amxc_var_t* const var, uint8_t val);
int amxc_var_set_int16_t(amxc_var_t* const var, int16_t val);
int amxc_var_set_uint16_t(amxc_var_t* const var, uint16_t val);
int amxc_var_set_int32_t(amxc_var_t* const var, int32_t val);
int amxc_var_set_uint32_t(amxc_var_t* const var, uint32_t val);
int amxc_var_set_int64_t(amxc_var_t* const var, int64_t val);
int amxc_var_set_uint64_t(amxc_var_t* const var, uint64_t val);
int amxc_var_set_cstring_t(amxc_var_t* const var, const char* const val);
int amxc_var_set_csv_string_t(amxc_var_t* const var, const char* const val);
int amxc_var_set_ssv_string_t(amxc_var_t* const var, const char* const val);
int amxc_var_set_double(amxc_var_t* var, double val);
int amxc_var_set_fd_t(amxc_var_t* var, int val);
int amxc_var_set_amxc_ts_t(amxc_var_t* var, const amxc_ts_t* val);

int amxc_var_push_cstring_t(amxc_var_t* const var, char* val);
int amxc_var_push_csv_string_t(amxc_var_t* const var, char* val);
int amxc_var_push_ssv_string_t(amxc_var_t* const var, char* val);
char* amxc_var_take_cstring_t(amxc_var_t* const var);

/* Converting getters (dyncast): pointer results are allocated copies. */
bool amxc_var_get_bool(const amxc_var_t* const var);
int8_t amxc_var_get_int8_t(const amxc_var_t* const var);
uint8_t amxc_var_get_uint8_t(const amxc_var_t* const var);
int16_t amxc_var_get_int16_t(const amxc_var_t* const var);
uint16_t amxc_var_get_uint16_t(const amxc_var_t* var);
int32_t amxc_var_get_int32_t(const amxc_var_t* const var);
uint32_t amxc_var_get_uint32_t(const amxc_var_t* var);
int64_t amxc_var_get_int64_t(const amxc_var_t* const var);
uint64_t amxc_var_get_uint64_t(const amxc_var_t* const var);
double amxc_var_get_double(const amxc_var_t* var);
int amxc_var_get_fd_t(const amxc_var_t* var);
char* amxc_var_get_cstring_t(const amxc_var_t* const var);
amxc_ts_t* amxc_var_get_amxc_ts_t(const amxc_var_t* var);
amxc_htable_t* amxc_var_get_amxc_htable_t(const amxc_var_t* const var);
amxc_llist_t* amxc_var_get_amxc_llist_t(const amxc_var_t* const var);

static inline char* amxc_var_get_csv_string_t(const amxc_var_t* const var) {
    return amxc_var_get_cstring_t(var);
}

static inline char* amxc_var_get_ssv_string_t(const amxc_var_t* const var) {
    return amxc_var_get_cstring_t(var);
}

/* Non-converting getters (constcast): a type mismatch gives the default. */
const char* amxc_var_get_const_cstring_t(const amxc_var_t* const var);
const amxc_htable_t* amxc_var_get_const_amxc_htable_t(const amxc_var_t* const var);
const amxc_llist_t* amxc_var_get_const_amxc_llist_t(const amxc_var_t* const var);
bool amxc_var_get_const_bool(const amxc_var_t* const var);
int8_t amxc_var_get_const_int8_t(const amxc_var_t* const var);
uint8_t amxc_var_get_const_uint8_t(const amxc_var_t* const var);
int16_t amxc_var_get_const_int16_t(const amxc_var_t* const var);
uint16_t amxc_var_get_const_uint16_t(const amxc_var_t* const var);
int32_t amxc_var_get_const_int32_t(const amxc_var_t* const var);
uint32_t amxc_var_get_const_uint32_t(const amxc_var_t* const var);
int64_t amxc_var_get_const_int64_t(const amxc_var_t* const var);
uint64_t amxc_var_get_const_uint64_t(const amxc_var_t* const var);
double amxc_var_get_const_double(const amxc_var_t* const var);
fd_t amxc_var_get_const_fd_t(const amxc_var_t* const var);
const amxc_ts_t* amxc_var_get_const_amxc_ts_t(const amxc_var_t* const var);

static inline const char* amxc_var_get_const_csv_string_t(const amxc_var_t* const var) {
    return amxc_var_get_const_cstring_t(var);
}

static inline const char* amxc_var_get_const_ssv_string_t(const amxc_var_t* const var) {
    return amxc_var_get_const_cstring_t(var);
}

/* Composite construction: children are owned by the container. */
amxc_var_t* amxc_var_add_new_key(amxc_var_t* const var, const char* key);
amxc_var_t* amxc_var_add_new(amxc_var_t* const var);

amxc_var_t* amxc_var_add_new_key_cstring_t(amxc_var_t* const var, const char* key, const char* const val);
amxc_var_t* amxc_var_add_new_key_csv_string_t(amxc_var_t* const var, const char* key, const char* const val);
amxc_var_t* amxc_var_add_new_key_ssv_string_t(amxc_var_t* const var, const char* key, const char* const val);
amxc_var_t* amxc_var_add_new_key_bool(amxc_var_t* const var, const char* key, bool boolean);
amxc_var_t* amxc_var_add_new_key_int8_t(amxc_var_t* const var, const char* key, int8_t val);
amxc_var_t* amxc_var_add_new_key_uint8_t(amxc_var_t* const var, const char* key, uint8_t val);
amxc_var_t* amxc_var_add_new_key_int16_t(amxc_var_t* const var, const char* key, int16_t val);
amxc_var_t* amxc_var_add_new_key_uint16_t(amxc_var_t* const var, const char* key, uint16_t val);
amxc_var_t* amxc_var_add_new_key_int32_t(amxc_var_t* const var, const char* key, int32_t val);
amxc_var_t* amxc_var_add_new_key_uint32_t(amxc_var_t* const var, const char* key, uint32_t val);
amxc_var_t* amxc_var_add_new_key_int64_t(amxc_var_t* const var, const char* key, int64_t val);
amxc_var_t* amxc_var_add_new_key_uint64_t(amxc_var_t* const var, const char* key, uint64_t val);
amxc_var_t* amxc_var_add_new_key_double(amxc_var_t* const var, const char* key, double val);
amxc_var_t* amxc_var_add_new_key_fd_t(amxc_var_t* const var, const char* key, int val);
amxc_var_t* amxc_var_add_new_key_amxc_ts_t(amxc_var_t* const var, const char* key, const amxc_ts_t* ts);
amxc_var_t* amxc_var_add_new_key_amxc_llist_t(amxc_var_t* const var, const char* key, const amxc_llist_t* list);
amxc_var_t* amxc_var_add_new_key_amxc_htable_t(amxc_var_t* const var, const char* key, const amxc_htable_t* htable);

amxc_var_t* amxc_var_add_new_cstring_t(amxc_var_t* const var, const char* const val);
amxc_var_t* amxc_var_add_new_csv_string_t(amxc_var_t* const var, const char* const val);
amxc_var_t* amxc_var_add_new_ssv_string_t(amxc_var_t* const var, const char* const val);
amxc_var_t* amxc_var_add_new_bool(amxc_var_t* const var, bool boolean);
amxc_var_t* amxc_var_add_new_int8_t(amxc_var_t* const var, int8_t val);
amxc_var_t* amxc_var_add_new_uint8_t(amxc_var_t* const var, uint8_t val);
amxc_var_t* amxc_var_add_new_int16_t(amxc_var_t* const var, int16_t val);
amxc_var_t* amxc_var_add_new_uint16_t(amxc_var_t* const var, uint16_t val);
amxc_var_t* amxc_var_add_new_int32_t(amxc_var_t* const var, int32_t val);
amxc_var_t* amxc_var_add_new_uint32_t(amxc_var_t* const var, uint32_t val);
amxc_var_t* amxc_var_add_new_int64_t(amxc_var_t* const var, int64_t val);
amxc_var_t* amxc_var_add_new_uint64_t(amxc_var_t* const var, uint64_t val);
amxc_var_t* amxc_var_add_new_double(amxc_var_t* const var, double val);
amxc_var_t* amxc_var_add_new_fd_t(amxc_var_t* const var, int val);
amxc_var_t* amxc_var_add_new_amxc_ts_t(amxc_var_t* const var, const amxc_ts_t* ts);
amxc_var_t* amxc_var_add_new_amxc_llist_t(amxc_var_t* const var, const amxc_llist_t* list);
amxc_var_t* amxc_var_add_new_amxc_htable_t(amxc_var_t* const var, const amxc_htable_t* htable);

int amxc_var_set_key(amxc_var_t* const var, const char* const key, amxc_var_t* data, const int flags);
int amxc_var_set_index(amxc_var_t* const var, const int64_t index, amxc_var_t* data, const int flags);
amxc_var_t* amxc_var_take_key(amxc_var_t* const var, const char* const key);
amxc_var_t* amxc_var_take_index(amxc_var_t* const var, const int64_t index);
int amxc_var_add_value(amxc_var_t* const dest, const amxc_var_t* const value);

/* Unlinks the variant from its list and htable without freeing it. */
static inline void amxc_var_take_it(amxc_var_t* const var) {
    if(var != NULL) {
        amxc_llist_it_take(&var->lit);
        amxc_htable_it_take(&var->hit);
    }
}

/* Lookup */
amxc_var_t* amxc_var_get_key(const amxc_var_t* const var, const char* const key, const int flags);
amxc_var_t* amxc_var_get_index(const amxc_var_t* const var, const int64_t index, const int flags);
amxc_var_t* amxc_var_get_path(const amxc_var_t* const var, const char* const path, const int flags);
amxc_var_t* amxc_var_get_pathf(const amxc_var_t* const var, const int flags, const char* const fmt, ...)
    __attribute__((format(printf, 3, 4)));
const char* amxc_var_key(const amxc_var_t* const var);
amxc_var_t* amxc_var_get_parent(const amxc_var_t* const var);

/* Iteration */
amxc_var_t* amxc_var_get_first(const amxc_var_t* const var);
amxc_var_t* amxc_var_get_last(const amxc_var_t* const var);
amxc_var_t* amxc_var_get_next(const amxc_var_t* const var);
amxc_var_t* amxc_var_get_previous(const amxc_var_t* const var);

/* Debug output */
int amxc_var_dump(const amxc_var_t* const var, int fd);
int amxc_var_dump_stream(const amxc_var_t* const var, FILE* stream);
int amxc_var_log(const amxc_var_t* const var);

/* Delete callbacks for containers of variants */
void variant_list_it_free(amxc_llist_it_t* it);
void variant_htable_it_free(const char* key, amxc_htable_it_t* it);

#ifdef __cplusplus
}
#endif

#endif /* __AMXC_VARIANT_H__ */
