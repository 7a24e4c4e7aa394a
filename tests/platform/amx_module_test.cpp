// Module registry: loading a shared object whose constructor registers a
// module, calling its functions, closing it, and the error values.
#include <cstdlib>
#include <dlfcn.h>
#include <string>

#include <gtest/gtest.h>

#include <amxc/amxc.h>
#include <amxm/amxm.h>
#include <amxhost/amxhost.h>

namespace {

std::string closing_name; // what the test module's destructor reported, if it ran

int on_closing(const char* const, amxc_var_t* args, amxc_var_t*) {
    closing_name += amxc_var_constcast(cstring_t, args);
    return 0;
}

int self_cb(const char* const, amxc_var_t*, amxc_var_t* ret) {
    return amxc_var_set(uint32_t, ret, 11);
}

class ModuleTest : public ::testing::Test {
protected:
    amxm_module_t* observer = nullptr;
    amxm_shared_object_t* so = nullptr;
    amxc_var_t args;
    amxc_var_t ret;

    void SetUp() override {
        closing_name.clear();
        ASSERT_EQ(amxm_module_register(&observer, nullptr, "observer"), 0);
        ASSERT_EQ(amxm_module_add_function(observer, "closing", on_closing), 0);
        amxc_var_init(&args);
        amxc_var_init(&ret);
        ASSERT_EQ(amxm_so_open(&so, "tester", AMX_TEST_MODULE), 0) << amxm_so_error();
    }
    void TearDown() override {
        amxm_so_close(&so);
        amxc_var_clean(&args);
        amxc_var_clean(&ret);
        amxm_module_deregister(&observer);
    }
};

TEST_F(ModuleTest, ConstructorRegistersWithTheObjectBeingOpened) {
    EXPECT_EQ(amxm_so_get_current(), nullptr);
    EXPECT_EQ(amxm_get_so("tester"), so);
    EXPECT_EQ(amxm_get_module("self", "test-mod"), nullptr);
    char* name = amxm_so_probe(so, 0);
    EXPECT_STREQ(name, "test-mod");
    free(name);

    EXPECT_EQ(amxm_so_execute_function(so, "test-mod", "fail", &args, &ret), 7);
    EXPECT_FALSE(amxm_has_function("tester", "test-mod", "missing"));
    // The host reaches a callback directly; the registry refuses NULL arguments.
    EXPECT_EQ(amxm_execute_function("tester", "test-mod", "nulls", nullptr, &ret), -1);
    EXPECT_EQ(amxhost_get_callback("nobody", "test-mod", "nulls"), nullptr);

    amxm_shared_object_t* alias = so;
    ASSERT_EQ(amxm_so_close(&so), 0);
    EXPECT_EQ(so, nullptr);
    EXPECT_EQ(closing_name, "tester"); // the destructor ran once and saw the object being closed
    EXPECT_EQ(amxm_so_close(&alias), -1);
    EXPECT_EQ(amxm_get_so("tester"), nullptr);
}

TEST_F(ModuleTest, ErrorValues) {
    const std::string long_name(AMXM_SHARED_OBJECT_LENGTH + 1, 'x');
    const char* const refused[] = {"tester", "self", "", nullptr, long_name.c_str()};
    amxm_shared_object_t* other = reinterpret_cast<amxm_shared_object_t*>(0x1);
    for(const char* name : refused) {
        EXPECT_EQ(amxm_so_open(&other, name, AMX_TEST_MODULE), -1) << (name ? name : "NULL");
        EXPECT_EQ(other, nullptr);
    }
    EXPECT_EQ(amxm_so_open(nullptr, "x", AMX_TEST_MODULE), -1);
    EXPECT_EQ(amxm_so_error(), nullptr); // no loader message for a refused name
    EXPECT_EQ(amxm_so_open(&other, "x", "/nonexistent/lib.so"), -1);
    EXPECT_NE(amxm_so_error(), nullptr);
    EXPECT_EQ(amxm_so_error(), nullptr); // reading the message clears it

    EXPECT_EQ(amxm_close_so("tester"), 0);
    EXPECT_EQ(closing_name, "tester");
    so = nullptr;
    EXPECT_EQ(amxm_close_so("tester"), -2);
    EXPECT_EQ(amxm_so_close(nullptr), -1);

    amxm_module_t* dup = reinterpret_cast<amxm_module_t*>(0x1);
    EXPECT_EQ(amxm_module_register(&dup, nullptr, "observer"), -1);
    EXPECT_EQ(dup, nullptr);
    EXPECT_EQ(amxm_get_module(nullptr, "observer"), observer);

    const std::string long_func(AMXM_FUNCTION_NAME_LENGTH + 1, 'f');
    const std::string max_func(AMXM_FUNCTION_NAME_LENGTH, 'f');
    EXPECT_EQ(amxm_module_add_function(observer, long_func.c_str(), self_cb), -1);
    EXPECT_EQ(amxm_module_add_function(observer, max_func.c_str(), self_cb), 0);
    EXPECT_EQ(amxm_module_add_function(nullptr, "f", self_cb), -1);
    EXPECT_EQ(amxm_module_add_function(observer, "new-null", nullptr), -1);

    EXPECT_EQ(amxm_module_add_function(observer, "f", self_cb), 0);
    EXPECT_EQ(amxm_execute_function(nullptr, "observer", "f", &args, &ret), 0);
    EXPECT_EQ(amxc_var_constcast(uint32_t, &ret), 11u);
    EXPECT_EQ(amxm_so_execute_function(nullptr, "observer", "f", &args, &ret), -1); // NULL so is not "self" here
    EXPECT_EQ(amxm_module_execute_function(observer, "f", &args, nullptr), -1);
    EXPECT_EQ(amxm_module_execute_function(observer, "unknown", &args, &ret), -1);
    // Re-adding overwrites, even with NULL: the name stays, the call fails.
    EXPECT_EQ(amxm_module_add_function(observer, "f", nullptr), 0);
    EXPECT_TRUE(amxm_module_has_function(observer, "f"));
    EXPECT_EQ(amxm_module_execute_function(observer, "f", &args, &ret), -1);

    EXPECT_EQ(amxm_module_remove_function(observer, "f"), 0);
    EXPECT_EQ(amxm_module_remove_function(observer, "f"), -2);
    EXPECT_EQ(amxm_so_remove_function(amxm_get_so(nullptr), "observer", max_func.c_str()), 0);
    EXPECT_EQ(amxm_so_remove_function(amxm_get_so(nullptr), "nobody", "f"), -3);
    EXPECT_FALSE(amxm_so_has_function(nullptr, "observer", "closing"));
}

TEST_F(ModuleTest, NoDlcloseKeepsTheObjectLoaded) {
    void* handle = so->handle;
    setenv("AMXM_NO_DLCLOSE", "1", 1);
    EXPECT_EQ(amxm_so_close(&so), 0);
    unsetenv("AMXM_NO_DLCLOSE");
    EXPECT_EQ(closing_name, "");
    EXPECT_EQ(amxm_get_so("tester"), nullptr);
    dlclose(handle); // unload it for the tests that follow
}

} // namespace
