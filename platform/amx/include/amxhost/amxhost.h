#ifndef AMXHOST_H
#define AMXHOST_H

/* Host-side helpers on top of the module registry of libamxm. */

#include <amxc/amxc.h>
#include <amxm/amxm.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The callback registered as `func_name` in module `module_name` of the shared
 * object registered as `so_name` (NULL or "" means "self"), or NULL when any
 * of them is missing. Unlike amxm_module_execute_function, a direct call lets
 * the host pass NULL args or ret to the function. */
amxm_callback_t amxhost_get_callback(const char* so_name, const char* module_name, const char* func_name);

#ifdef __cplusplus
}
#endif

#endif /* AMXHOST_H */
