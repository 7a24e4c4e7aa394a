// Calls reach the registered callback itself (a lookup of our libamxm), so
// that a script may pass a NULL args or ret, which amxm_execute_function refuses.
#include "module.h"

#include <amxhost/amxhost.h>

namespace host {

bool Module::has_function(const std::string& name) const {
    return so_ != nullptr && amxhost_get_callback(module_alias, module_namespace, name.c_str()) != nullptr;
}

bool Module::dispatch(const std::string& name, amxc_var_t* args, amxc_var_t* ret, int* rc, std::string*) const {
    *rc = amxhost_get_callback(module_alias, module_namespace, name.c_str())(name.c_str(), args, ret);
    return true;
}

} // namespace host
