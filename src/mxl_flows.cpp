// PQoS flows: listing and reports.
#include "mxl_frame.h"

int mxl_qos_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_flow_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
