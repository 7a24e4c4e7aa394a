#ifndef __AMXM_H__
#define __AMXM_H__

#ifndef __AMXC_VARIANT_H__
#pragma GCC error "include <amxc/amxc_variant.h> before <amxm/amxm.h>"
#endif

#ifndef __AMXC_HTABLE_H__
#pragma GCC error "include <amxc/amxc_htable.h> before <amxm/amxm.h>"
#endif

#ifndef __AMXC_LLIST_H__
#pragma GCC error "include <amxc/amxc_llist.h> before <amxm/amxm.h>"
#endif

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define AMXM_FUNCTION_NAME_LENGTH 64
#define AMXM_MODULE_NAME_LENGTH 256
#define AMXM_SHARED_OBJECT_LENGTH 256

#define AMXM_CONSTRUCTOR int __attribute__((constructor))
#define AMXM_DESTRUCTOR int __attribute__((destructor))

typedef int (*amxm_callback_t)(const char* const function_name, amxc_var_t* args, amxc_var_t* ret);

typedef struct _amxm_function_callback {
    char function_name[AMXM_FUNCTION_NAME_LENGTH + 1];
    amxm_callback_t function_cb;
    amxc_htable_it_t it;
} amxm_function_callback_t;

typedef struct _amxm_module {
    char name[AMXM_MODULE_NAME_LENGTH + 1];
    amxc_htable_t amxm_function_htable;
    amxc_llist_it_t it;
} amxm_module_t;

typedef struct _amxm_shared_object {
    char name[AMXM_SHARED_OBJECT_LENGTH + 1];
    char file[AMXM_SHARED_OBJECT_LENGTH + 1];
    void* handle;
    amxc_llist_t amxm_module_llist;
    amxc_llist_it_t it;
} amxm_shared_object_t;

/* Shared objects */
int amxm_so_open(amxm_shared_object_t** so, const char* shared_object_name, const char* const path_to_so);
int amxm_so_close(amxm_shared_object_t** so);
amxm_shared_object_t* amxm_so_get_current(void);
const char* amxm_so_error(void);
amxm_module_t* amxm_so_get_module(const amxm_shared_object_t* const shared_object, const char* const module_name);
int amxm_so_execute_function(amxm_shared_object_t* const so, const char* const module_name, const char* const func_name,
                             amxc_var_t* args, amxc_var_t* ret);
bool amxm_so_has_function(const amxm_shared_object_t* const so, const char* const module_name,
                          const char* const func_name);
int amxm_so_remove_function(amxm_shared_object_t* const so, const char* const module_name, const char* const func_name);
size_t amxm_so_count_modules(const amxm_shared_object_t* const shared_object);
char* amxm_so_probe(const amxm_shared_object_t* const shared_object, size_t index);

/* Modules */
int amxm_module_register(amxm_module_t** mod, amxm_shared_object_t* const shared_object, const char* const module_name);
int amxm_module_deregister(amxm_module_t** mod);
int amxm_module_add_function(amxm_module_t* const mod, const char* const func_name, amxm_callback_t cb);
int amxm_module_remove_function(amxm_module_t* const mod, const char* const func_name);
int amxm_module_execute_function(amxm_module_t* mod, const char* const func_name, amxc_var_t* args, amxc_var_t* ret);
bool amxm_module_has_function(amxm_module_t* mod, const char* const func_name);
amxc_array_t* amxm_module_get_function_names(amxm_module_t* mod);

/* Access by name */
const amxc_llist_t* amxm_get_so_list(void);
amxm_shared_object_t* amxm_get_so(const char* const shared_object_name);
amxm_module_t* amxm_get_module(const char* const shared_object_name, const char* const module_name);
int amxm_execute_function(const char* const shared_object_name, const char* const module_name,
                          const char* const func_name, amxc_var_t* args, amxc_var_t* ret);
bool amxm_has_function(const char* const shared_object_name, const char* const module_name,
                       const char* const func_name);
int amxm_close_so(const char* const shared_object_name);
int amxm_close_all(void);

#ifdef __cplusplus
}
#endif

#endif /* __AMXM_H__ */
