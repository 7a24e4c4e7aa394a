// SPDX-License-Identifier: BSD-2-Clause-Patent
// The MoCA control module as the host loads it: through libamxm, by path.
#pragma once

#include <string>

#include <amxc/amxc.h>
#include <amxm/amxm.h>

namespace host {

inline constexpr const char* module_alias = "mxl-moca-ctrl";
inline constexpr const char* module_namespace = "moca-ctrl";

// The callback the loaded module registers as `name`, or NULL (simulator build:
// a direct call may pass a NULL args or ret).
amxm_callback_t registered_callback(const char* name);

class Module {
public:
    explicit Module(std::string path) : path_(std::move(path)) {}
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    bool open(std::string* err);
    bool close(std::string* err);
    bool loaded() const { return so_ != nullptr; }

    // Whether the module is loaded and registers this function under "moca-ctrl";
    // if not, *err says which of the two is missing.
    bool can_call(const std::string& name, std::string* err) const;

    // Calls a function. The simulator build reaches the callback directly, so
    // that args and ret may be NULL; the board build goes through
    // amxm_execute_function, which refuses NULL. Returns false (and sets *err)
    // when the module is not loaded, has no such function or the call is refused.
    bool call(const std::string& name, amxc_var_t* args, amxc_var_t* ret, int* rc, std::string* err) const;

private:
    // Whether the loaded module registers the function (module_direct.cpp or module_amxm.cpp).
    bool has_function(const std::string& name) const;
    // The call itself, once the function is known to exist.
    bool dispatch(const std::string& name, amxc_var_t* args, amxc_var_t* ret, int* rc, std::string* err) const;

    std::string path_;
    amxm_shared_object_t* so_ = nullptr;
};

} // namespace host
