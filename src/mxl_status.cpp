// Interface status: static and dynamic information, statistics, presence.
#include "mxl_frame.h"

int mxl_static_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_dyn_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_stats_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_is_available(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_is_present(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
