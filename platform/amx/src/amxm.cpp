// Registry of shared objects, the modules they register and their functions.
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

#include <amxc/amxc.h>
#include <amxm/amxm.h>
#include <amxhost/amxhost.h>

namespace {

amxc_llist_t so_list;                       // every open shared object, "self" first
amxm_shared_object_t* current_so = nullptr; // the object being opened or closed

constexpr const char* self_name = "self";

bool valid_name(const char* name, size_t max) {
    return name != nullptr && *name != 0 && strlen(name) <= max;
}

amxm_shared_object_t* so_of(amxc_llist_it_t* it) {
    return amxc_container_of(it, amxm_shared_object_t, it);
}

amxm_module_t* module_of(amxc_llist_it_t* it) {
    return amxc_container_of(it, amxm_module_t, it);
}

amxm_function_callback_t* function_of(amxc_htable_it_t* it) {
    return amxc_container_of(it, amxm_function_callback_t, it);
}

void function_free(UNUSED const char* key, amxc_htable_it_t* it) {
    free(function_of(it));
}

void module_free(amxc_llist_it_t* it) {
    amxm_module_t* mod = module_of(it);
    amxm_module_deregister(&mod);
}

amxm_function_callback_t* find_function(const amxm_module_t* mod, const char* name) {
    if(mod == nullptr || name == nullptr) {
        return nullptr;
    }
    amxc_htable_it_t* it = amxc_htable_get(&mod->amxm_function_htable, name);
    return it != nullptr ? function_of(it) : nullptr;
}

bool is_registered(const amxm_shared_object_t* so) {
    amxc_llist_iterate(it, &so_list) {
        if(so_of(it) == so) {
            return true;
        }
    }
    return false;
}

amxm_shared_object_t* so_new(const char* name, const char* file) {
    auto* so = static_cast<amxm_shared_object_t*>(calloc(1, sizeof(amxm_shared_object_t)));
    if(so != nullptr) {
        strncpy(so->name, name, AMXM_SHARED_OBJECT_LENGTH);
        strncpy(so->file, file, AMXM_SHARED_OBJECT_LENGTH);
        amxc_llist_init(&so->amxm_module_llist);
    }
    return so;
}

void so_free(amxm_shared_object_t* so) {
    amxc_llist_it_take(&so->it);
    amxc_llist_clean(&so->amxm_module_llist, module_free);
    free(so);
}

__attribute__((constructor)) void amxm_self_create() {
    amxm_shared_object_t* self = so_new(self_name, ".");
    if(self != nullptr) {
        amxc_llist_prepend(&so_list, &self->it);
    }
}

__attribute__((destructor)) void amxm_self_remove() {
    amxm_shared_object_t* self = amxm_get_so(self_name);
    if(self != nullptr) {
        so_free(self);
    }
}

} // namespace

extern "C" {

int amxm_so_open(amxm_shared_object_t** so, const char* shared_object_name, const char* const path_to_so) {
    dlerror();
    if(so == nullptr) {
        return -1;
    }
    *so = nullptr;
    if(!valid_name(shared_object_name, AMXM_SHARED_OBJECT_LENGTH) || path_to_so == nullptr || *path_to_so == 0 ||
       amxm_get_so(shared_object_name) != nullptr) {
        return -1;
    }
    amxm_shared_object_t* record = so_new(shared_object_name, path_to_so);
    if(record == nullptr) {
        return -1;
    }
    // The object's constructors run inside dlopen and find the record through
    // amxm_so_get_current().
    amxm_shared_object_t* previous = current_so;
    current_so = record;
    record->handle = dlopen(path_to_so, RTLD_LAZY);
    current_so = previous;
    if(record->handle == nullptr) {
        so_free(record);
        return -1;
    }
    amxc_llist_append(&so_list, &record->it);
    *so = record;
    return 0;
}

int amxm_so_close(amxm_shared_object_t** so) {
    if(so == nullptr || *so == nullptr || !is_registered(*so)) {
        return -1;
    }
    amxm_shared_object_t* record = *so;
    if(record->handle != nullptr && getenv("AMXM_NO_DLCLOSE") == nullptr) {
        amxm_shared_object_t* previous = current_so;
        current_so = record;
        int rc = dlclose(record->handle);
        current_so = previous;
        if(rc != 0) {
            return rc;
        }
    }
    so_free(record);
    *so = nullptr;
    return 0;
}

amxm_shared_object_t* amxm_so_get_current(void) {
    return current_so;
}

const char* amxm_so_error(void) {
    return dlerror();
}

amxm_module_t* amxm_so_get_module(const amxm_shared_object_t* const shared_object, const char* const module_name) {
    const amxm_shared_object_t* so = shared_object != nullptr ? shared_object : amxm_get_so(self_name);
    if(so == nullptr || !valid_name(module_name, AMXM_MODULE_NAME_LENGTH)) {
        return nullptr;
    }
    amxc_llist_iterate(it, &so->amxm_module_llist) {
        if(strcmp(module_of(it)->name, module_name) == 0) {
            return module_of(it);
        }
    }
    return nullptr;
}

int amxm_so_execute_function(amxm_shared_object_t* const so, const char* const module_name, const char* const func_name,
                             amxc_var_t* args, amxc_var_t* ret) {
    if(so == nullptr) {
        return -1;
    }
    return amxm_module_execute_function(amxm_so_get_module(so, module_name), func_name, args, ret);
}

bool amxm_so_has_function(const amxm_shared_object_t* const so, const char* const module_name,
                          const char* const func_name) {
    return so != nullptr && amxm_module_has_function(amxm_so_get_module(so, module_name), func_name);
}

int amxm_so_remove_function(amxm_shared_object_t* const so, const char* const module_name,
                            const char* const func_name) {
    amxm_module_t* mod = so != nullptr ? amxm_so_get_module(so, module_name) : nullptr;
    if(mod == nullptr || func_name == nullptr) {
        return -3;
    }
    return amxm_module_remove_function(mod, func_name);
}

size_t amxm_so_count_modules(const amxm_shared_object_t* const shared_object) {
    return shared_object != nullptr ? amxc_llist_size(&shared_object->amxm_module_llist) : 0;
}

char* amxm_so_probe(const amxm_shared_object_t* const shared_object, size_t index) {
    if(shared_object == nullptr || index > UINT32_MAX) {
        return nullptr;
    }
    amxc_llist_it_t* it = amxc_llist_get_at(&shared_object->amxm_module_llist, static_cast<unsigned int>(index));
    return it != nullptr ? strdup(module_of(it)->name) : nullptr;
}

int amxm_module_register(amxm_module_t** mod, amxm_shared_object_t* const shared_object,
                         const char* const module_name) {
    if(mod == nullptr) {
        return -1;
    }
    *mod = nullptr;
    amxm_shared_object_t* so = shared_object != nullptr ? shared_object : amxm_get_so(self_name);
    if(so == nullptr || !valid_name(module_name, AMXM_MODULE_NAME_LENGTH) ||
       amxm_so_get_module(so, module_name) != nullptr) {
        return -1;
    }
    auto* record = static_cast<amxm_module_t*>(calloc(1, sizeof(amxm_module_t)));
    if(record == nullptr) {
        return -1;
    }
    strcpy(record->name, module_name);
    amxc_htable_init(&record->amxm_function_htable, 0);
    amxc_llist_append(&so->amxm_module_llist, &record->it);
    *mod = record;
    return 0;
}

int amxm_module_deregister(amxm_module_t** mod) {
    if(mod == nullptr || *mod == nullptr) {
        return -1;
    }
    amxc_llist_it_take(&(*mod)->it);
    amxc_htable_clean(&(*mod)->amxm_function_htable, function_free);
    free(*mod);
    *mod = nullptr;
    return 0;
}

int amxm_module_add_function(amxm_module_t* const mod, const char* const func_name, amxm_callback_t cb) {
    if(mod == nullptr || !valid_name(func_name, AMXM_FUNCTION_NAME_LENGTH)) {
        return -1;
    }
    amxm_function_callback_t* fn = find_function(mod, func_name);
    if(fn != nullptr) {
        fn->function_cb = cb;
        return 0;
    }
    if(cb == nullptr) {
        return -1;
    }
    fn = static_cast<amxm_function_callback_t*>(calloc(1, sizeof(amxm_function_callback_t)));
    if(fn == nullptr) {
        return -1;
    }
    strcpy(fn->function_name, func_name);
    fn->function_cb = cb;
    if(amxc_htable_insert(&mod->amxm_function_htable, func_name, &fn->it) != 0) {
        free(fn);
        return -1;
    }
    return 0;
}

int amxm_module_remove_function(amxm_module_t* const mod, const char* const func_name) {
    amxm_function_callback_t* fn = find_function(mod, func_name);
    if(fn == nullptr) {
        return -2;
    }
    amxc_htable_it_clean(&fn->it, function_free);
    return 0;
}

int amxm_module_execute_function(amxm_module_t* mod, const char* const func_name, amxc_var_t* args, amxc_var_t* ret) {
    if(mod == nullptr || !valid_name(func_name, AMXM_FUNCTION_NAME_LENGTH) || args == nullptr || ret == nullptr) {
        return -1;
    }
    amxm_function_callback_t* fn = find_function(mod, func_name);
    if(fn == nullptr || fn->function_cb == nullptr) {
        return -1;
    }
    return fn->function_cb(func_name, args, ret);
}

bool amxm_module_has_function(amxm_module_t* mod, const char* const func_name) {
    return find_function(mod, func_name) != nullptr;
}

amxc_array_t* amxm_module_get_function_names(amxm_module_t* mod) {
    if(mod == nullptr || amxc_htable_is_empty(&mod->amxm_function_htable)) {
        return nullptr;
    }
    return amxc_htable_get_sorted_keys(&mod->amxm_function_htable);
}

const amxc_llist_t* amxm_get_so_list(void) {
    return &so_list;
}

amxm_shared_object_t* amxm_get_so(const char* const shared_object_name) {
    const char* name = shared_object_name != nullptr && *shared_object_name != 0 ? shared_object_name : self_name;
    amxc_llist_iterate(it, &so_list) {
        if(strcmp(so_of(it)->name, name) == 0) {
            return so_of(it);
        }
    }
    return nullptr;
}

amxm_module_t* amxm_get_module(const char* const shared_object_name, const char* const module_name) {
    amxm_shared_object_t* so = amxm_get_so(shared_object_name);
    return so != nullptr ? amxm_so_get_module(so, module_name) : nullptr;
}

int amxm_execute_function(const char* const shared_object_name, const char* const module_name,
                          const char* const func_name, amxc_var_t* args, amxc_var_t* ret) {
    amxm_shared_object_t* so = amxm_get_so(shared_object_name);
    return so != nullptr ? amxm_so_execute_function(so, module_name, func_name, args, ret) : -1;
}

bool amxm_has_function(const char* const shared_object_name, const char* const module_name,
                       const char* const func_name) {
    return amxm_so_has_function(amxm_get_so(shared_object_name), module_name, func_name);
}

int amxm_close_so(const char* const shared_object_name) {
    if(!valid_name(shared_object_name, AMXM_SHARED_OBJECT_LENGTH)) {
        return -2;
    }
    amxm_shared_object_t* so = amxm_get_so(shared_object_name);
    return so != nullptr ? amxm_so_close(&so) : -2;
}

int amxm_close_all(void) {
    while(!amxc_llist_is_empty(&so_list)) {
        amxm_shared_object_t* so = so_of(amxc_llist_get_first(&so_list));
        if(amxm_so_close(&so) != 0) {
            // The object stays loaded, but it leaves the registry all the same.
            so_free(so);
        }
    }
    return 0;
}

amxm_callback_t amxhost_get_callback(const char* so_name, const char* module_name, const char* func_name) {
    amxm_function_callback_t* fn = find_function(amxm_get_module(so_name, module_name), func_name);
    return fn != nullptr ? fn->function_cb : nullptr;
}

} // extern "C"
