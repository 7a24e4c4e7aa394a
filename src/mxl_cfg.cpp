// Configuration: applying one setting, reporting the configuration.
#include "mxl_frame.h"

int mxl_cfg_info_set(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_cfg_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
