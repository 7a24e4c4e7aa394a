// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "module.h"

namespace host {

Module::~Module() {
    if(so_ != nullptr) {
        amxm_so_close(&so_);
    }
}

bool Module::open(std::string* err) {
    if(so_ != nullptr) {
        *err = "module already loaded";
        return false;
    }
    if(amxm_so_open(&so_, module_alias, path_.c_str()) != 0) {
        const char* why = amxm_so_error();
        *err = "cannot load " + path_ + (why != nullptr ? std::string(": ") + why : std::string());
        so_ = nullptr;
        return false;
    }
    if(amxm_so_get_module(so_, module_namespace) == nullptr) {
        *err = path_ + " registers no module \"" + module_namespace + "\"";
        amxm_so_close(&so_);
        so_ = nullptr;
        return false;
    }
    return true;
}

bool Module::close(std::string* err) {
    if(so_ == nullptr) {
        *err = "module not loaded";
        return false;
    }
    int rc = amxm_so_close(&so_);
    if(rc != 0) {
        *err = "cannot unload " + path_ + " (" + std::to_string(rc) + ")";
        return false;
    }
    so_ = nullptr;
    return true;
}

bool Module::can_call(const std::string& name, std::string* err) const {
    if(so_ == nullptr) {
        *err = "module not loaded";
        return false;
    }
    if(!has_function(name)) {
        *err = "module \"" + std::string(module_namespace) + "\" has no function '" + name + "'";
        return false;
    }
    return true;
}

bool Module::call(const std::string& name, amxc_var_t* args, amxc_var_t* ret, int* rc, std::string* err) const {
    return can_call(name, err) && dispatch(name, args, ret, rc, err);
}

} // namespace host
