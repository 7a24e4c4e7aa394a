// SPDX-License-Identifier: BSD-2-Clause-Patent
// Calls reach the registered callback itself, looked up in the module's
// function table (libamxm's public structures), so that a script may pass a
// NULL args or ret, which amxm_execute_function refuses.
#include "module.h"

namespace host {

amxm_callback_t registered_callback(const char* name) {
    amxm_module_t* mod = amxm_get_module(module_alias, module_namespace);
    if(mod == nullptr) {
        return nullptr;
    }
    amxc_htable_it_t* it = amxc_htable_get(&mod->amxm_function_htable, name);
    return it != nullptr ? amxc_container_of(it, amxm_function_callback_t, it)->function_cb : nullptr;
}

bool Module::has_function(const std::string& name) const {
    return so_ != nullptr && registered_callback(name.c_str()) != nullptr;
}

bool Module::dispatch(const std::string& name, amxc_var_t* args, amxc_var_t* ret, int* rc, std::string*) const {
    *rc = registered_callback(name.c_str())(name.c_str(), args, ret);
    return true;
}

} // namespace host
