// PHY margin tables: RLAPM and SAPM.
#include "mxl_frame.h"

int mxl_rlapm_entries_number(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_rlapm_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_sapm_entries_number(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_sapm_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
