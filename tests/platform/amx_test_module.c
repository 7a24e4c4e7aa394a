/* A small module loaded by the platform tests: registers "test-mod" with the
 * shared object being opened and reports its unloading to the host. */
#include <amxc/amxc.h>
#include <amxm/amxm.h>

static int echo(UNUSED const char* const function_name, amxc_var_t* args, amxc_var_t* ret) {
    return amxc_var_copy(ret, args);
}

static int fail(UNUSED const char* const function_name, UNUSED amxc_var_t* args, UNUSED amxc_var_t* ret) {
    return 7;
}

/* Tells which of its arguments were NULL: bit 0 args, bit 1 ret. */
static int nulls(UNUSED const char* const function_name, amxc_var_t* args, amxc_var_t* ret) {
    return (args == NULL ? 1 : 0) | (ret == NULL ? 2 : 0);
}

AMXM_CONSTRUCTOR amx_test_module_load(void) {
    amxm_module_t* mod = NULL;
    when_failed(amxm_module_register(&mod, amxm_so_get_current(), "test-mod"), exit);
    amxm_module_add_function(mod, "echo", echo);
    amxm_module_add_function(mod, "fail", fail);
    amxm_module_add_function(mod, "nulls", nulls);
exit:
    return mod != NULL ? 0 : -1;
}

/* Calls "observer"/"closing" of the host, if it has one, with the name of the
 * shared object being closed. */
AMXM_DESTRUCTOR amx_test_module_unload(void) {
    amxm_shared_object_t* so = amxm_so_get_current();
    amxc_var_t args;
    amxc_var_t ret;
    amxc_var_init(&args);
    amxc_var_init(&ret);
    amxc_var_set(cstring_t, &args, so != NULL ? so->name : "");
    amxm_execute_function("self", "observer", "closing", &args, &ret);
    amxc_var_clean(&args);
    amxc_var_clean(&ret);
    return 0;
}
