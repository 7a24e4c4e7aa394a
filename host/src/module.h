// The MoCA control module as the host loads it: through libamxm, by path.
#pragma once

#include <string>

#include <amxc/amxc.h>
#include <amxm/amxm.h>

namespace host {

inline constexpr const char* module_alias = "mxl-moca-ctrl";
inline constexpr const char* module_namespace = "moca-ctrl";

class Module {
public:
    explicit Module(std::string path) : path_(std::move(path)) {}
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    bool open(std::string* err);
    bool close(std::string* err);
    bool loaded() const { return so_ != nullptr; }

    // The registered callback of a function of "moca-ctrl", or NULL.
    amxm_callback_t function(const std::string& name) const;

    // Calls a function directly, so that args and ret may be NULL. Returns
    // false (and sets *err) when the module is not loaded or has no such function.
    bool call(const std::string& name, amxc_var_t* args, amxc_var_t* ret, int* rc, std::string* err) const;

private:
    std::string path_;
    amxm_shared_object_t* so_ = nullptr;
};

} // namespace host
