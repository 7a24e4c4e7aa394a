// Network tables: associated nodes, PHY rate mesh, bridge tables.
#include "mxl_frame.h"

int mxl_node_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_mesh_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
int mxl_bridge_info_retrieve(const char*, amxc_var_t*, amxc_var_t*) { return -1; }
