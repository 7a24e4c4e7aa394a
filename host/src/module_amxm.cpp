// SPDX-License-Identifier: BSD-2-Clause-Patent
// Calls go through libamxm's standard route, as a MoCA manager makes them.
// amxm_execute_function refuses a NULL args or ret (returning -1 without
// calling), so such a call is refused here with a reason instead.
#include "module.h"

namespace host {

bool Module::has_function(const std::string& name) const {
    return so_ != nullptr && amxm_has_function(module_alias, module_namespace, name.c_str());
}

bool Module::dispatch(const std::string& name, amxc_var_t* args, amxc_var_t* ret, int* rc, std::string* err) const {
    if(args == nullptr || ret == nullptr) {
        *err = "a NULL args or ret needs the direct call of the simulator build";
        return false;
    }
    *rc = amxm_execute_function(module_alias, module_namespace, name.c_str(), args, ret);
    return true;
}

} // namespace host
