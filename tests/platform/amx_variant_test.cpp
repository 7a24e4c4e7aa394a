// Variants: conversions and their failure answers, construction, lookup,
// iteration order and copies.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <amxc/amxc.h>

namespace {

// Owns a heap variant for the length of a test.
struct Var {
    amxc_var_t* v = nullptr;
    explicit Var(amxc_var_type_id_t type = AMXC_VAR_ID_NULL) {
        amxc_var_new(&v);
        amxc_var_set_type(v, type);
    }
    ~Var() { amxc_var_delete(&v); }
    Var(const Var&) = delete;
    Var& operator=(const Var&) = delete;
    operator amxc_var_t*() const { return v; }
};

std::string take_text(char* text) {
    std::string out = text != nullptr ? text : "<null>";
    free(text);
    return out;
}

std::vector<std::string> keys_of(const amxc_var_t* var) {
    std::vector<std::string> keys;
    amxc_var_for_each(child, var) {
        keys.emplace_back(amxc_var_key(child));
    }
    return keys;
}

void set_text(amxc_var_t* v, const char* text, int kind) {
    ASSERT_EQ(kind == 0   ? amxc_var_set(cstring_t, v, text)
              : kind == 1 ? amxc_var_set(csv_string_t, v, text)
                          : amxc_var_set(ssv_string_t, v, text),
              0);
}

TEST(Variant, ConversionsFollowTheDocumentedRules) {
    Var list(AMXC_VAR_ID_LIST);
    amxc_var_add(cstring_t, list, "a");
    amxc_var_add(int32_t, list, 3);
    Var table(AMXC_VAR_ID_HTABLE);
    amxc_var_add_key(uint32_t, table, "b", 1);
    amxc_var_add_key(cstring_t, table, "a", "x");
    // A text source is tried as each of the three string types; its text converts to itself.
    // clang-format off
    const struct {
        const char* text; void (*fill)(amxc_var_t*); const amxc_var_t* source;
        uint32_t u32; int32_t i32; uint64_t u64; int8_t i8; bool b; double d; const char* as_text;
    } cases[] = {
        {"12", nullptr, nullptr, 12, 12, 12, 12, false, 12, nullptr},
        {" 12", nullptr, nullptr, 12, 12, 12, 12, false, 12, nullptr},
        {"12 ", nullptr, nullptr, 0, 0, 0, 0, false, 0, nullptr},
        {"abc", nullptr, nullptr, 0, 0, 0, 0, false, 0, nullptr},
        {" TRUE ", nullptr, nullptr, 0, 0, 0, 0, true, 0, nullptr},
        {"O n", nullptr, nullptr, 0, 0, 0, 0, true, 0, nullptr},
        {"no", nullptr, nullptr, 0, 0, 0, 0, false, 0, nullptr},
        {"1", nullptr, nullptr, 1, 1, 1, 1, true, 1, nullptr},
        {"0x10", nullptr, nullptr, 16, 16, 16, 16, false, 16, nullptr},
        {"010", nullptr, nullptr, 8, 8, 8, 8, false, 10, nullptr},
        {"+5", nullptr, nullptr, 5, 5, 5, 5, false, 5, nullptr},
        {"-7", nullptr, nullptr, 7, -7, 7, -7, false, -7, nullptr},
        {"-129", nullptr, nullptr, 129, -129, 129, 0, false, -129, nullptr},
        {"2147483648", nullptr, nullptr, 2147483648u, 0, 2147483648u, 0, false, 2147483648.0, nullptr},
        {"4294967296", nullptr, nullptr, 0, 0, 4294967296u, 0, false, 4294967296.0, nullptr},
        {"1.5", nullptr, nullptr, 0, 0, 0, 0, false, 1.5, nullptr},
        {nullptr, [](amxc_var_t*) {}, nullptr, 0, 0, 0, 0, false, 0, "<null>"},
        {nullptr, [](amxc_var_t* v) { amxc_var_set(int32_t, v, -5); }, nullptr, 5, -5, 5, -5, true, -5, "-5"},
        {nullptr, [](amxc_var_t* v) { amxc_var_set(int64_t, v, -(int64_t{1} << 40)); }, nullptr, 0, 0, uint64_t{1} << 40, 0, true, -1099511627776.0, "-1099511627776"},
        {nullptr, [](amxc_var_t* v) { amxc_var_set(uint32_t, v, 3000000000u); }, nullptr, 3000000000u, 0, 3000000000u, 0, true, 3e9, "3000000000"},
        {nullptr, [](amxc_var_t* v) { amxc_var_set(uint64_t, v, uint64_t{1} << 33); }, nullptr, 0, 0, uint64_t{1} << 33, 0, true, 8589934592.0, "8589934592"},
        {nullptr, [](amxc_var_t* v) { amxc_var_set(uint16_t, v, 300); }, nullptr, 300, 300, 300, 0, true, 300, "300"},
        {nullptr, [](amxc_var_t* v) { amxc_var_set(double, v, -2.7); }, nullptr, 2, -2, 2, -2, true, -2.7, "-2.700000"},
        {nullptr, [](amxc_var_t* v) { amxc_var_set(bool, v, true); }, nullptr, 1, 1, 1, 1, true, 1, "true"},
        {nullptr, [](amxc_var_t* v) { amxc_var_set_type(v, AMXC_VAR_ID_LIST); }, nullptr, 0, 0, 0, 0, false, 0, ""},
        {nullptr, nullptr, list, 2, 2, 2, 2, true, 2, "a,3"},
        {nullptr, nullptr, table, 2, 2, 2, 2, true, 2, "b:1,a:x"},
    };
    // clang-format on
    for(size_t i = 0; i < std::size(cases); i++) {
        const auto& c = cases[i];
        for(int kind = 0; kind < (c.text != nullptr ? 3 : 1); kind++) {
            SCOPED_TRACE("case " + std::to_string(i) + " kind " + std::to_string(kind));
            Var own;
            if(c.text != nullptr) {
                set_text(own, c.text, kind);
            } else if(c.fill != nullptr) {
                c.fill(own);
            }
            const amxc_var_t* v = c.source != nullptr ? c.source : own.v;
            EXPECT_EQ(amxc_var_dyncast(uint32_t, v), c.u32);
            EXPECT_EQ(amxc_var_dyncast(int32_t, v), c.i32);
            EXPECT_EQ(amxc_var_dyncast(uint64_t, v), c.u64);
            EXPECT_EQ(amxc_var_dyncast(int8_t, v), c.i8);
            EXPECT_EQ(amxc_var_dyncast(bool, v), c.b);
            EXPECT_DOUBLE_EQ(amxc_var_dyncast(double, v), c.d);
            EXPECT_EQ(take_text(amxc_var_dyncast(cstring_t, v)), c.as_text != nullptr ? c.as_text : c.text);
            // Constcast never converts.
            EXPECT_STREQ(amxc_var_constcast(cstring_t, v), c.text);
        }
    }
    EXPECT_EQ(amxc_var_dyncast(uint32_t, nullptr), 0u);
    EXPECT_EQ(amxc_var_constcast(int32_t, GET_ARG(table, "b")), 0);
    EXPECT_EQ(amxc_var_constcast(amxc_llist_t, table), nullptr);
}

TEST(Variant, HtableKeepsInsertionOrderThroughGrowth) {
    Var table(AMXC_VAR_ID_HTABLE);
    std::vector<std::string> expected;
    for(int i = 0; i < 100; i++) {
        expected.push_back("key" + std::to_string((i * 37) % 100));
        ASSERT_NE(amxc_var_add_key(uint32_t, table, expected.back().c_str(), i), nullptr);
    }
    EXPECT_EQ(keys_of(table), expected);
    EXPECT_EQ(GET_UINT32(table, "key74"), 2u);
    EXPECT_EQ(GETI_UINT32(table, 5), 5u);
    std::vector<std::string> reversed;
    amxc_var_for_each_reverse(child, table) {
        reversed.emplace_back(amxc_var_key(child));
    }
    EXPECT_EQ(reversed, std::vector<std::string>(expected.rbegin(), expected.rend()));
}

TEST(Variant, SettersAndAddersRefuseWithoutChangingAnything) {
    Var v;
    amxc_var_set(cstring_t, v, "old");
    EXPECT_NE(amxc_var_set(cstring_t, v, nullptr), 0);
    EXPECT_NE(amxc_var_set_type(v, AMXC_VAR_ID_FLOAT), 0);
    EXPECT_NE(amxc_var_set_type(v, 999), 0);
    EXPECT_STREQ(amxc_var_constcast(cstring_t, v), "old");
    EXPECT_EQ(take_text(amxc_var_take_cstring_t(v)), "old");
    EXPECT_TRUE(amxc_var_is_null(v));
    amxc_var_set_type(v, AMXC_VAR_ID_CSTRING); // a string type with no buffer yet
    EXPECT_STREQ(amxc_var_constcast(cstring_t, v), "");
    EXPECT_EQ(take_text(amxc_var_dyncast(cstring_t, v)), "");
    Var table(AMXC_VAR_ID_HTABLE);
    Var null_var;
    Var number;
    amxc_var_set(uint32_t, number, 1);
    amxc_var_add_key(cstring_t, table, "name", "first");
    const amxc_var_t* added[] = {
        amxc_var_add_key(bool, nullptr, "k", true),
        amxc_var_add_key(bool, null_var, "k", true), // not promoted to a table
        amxc_var_add_key(bool, number, "k", true),
        amxc_var_add_key(bool, table, nullptr, true),
        amxc_var_add_key(uint64_t, table, "", 1),
        amxc_var_add_key(cstring_t, table, "name", "second"),
        amxc_var_add_key(cstring_t, table, "text", nullptr),
        amxc_var_add(int32_t, table, 1),
    };
    for(size_t i = 0; i < std::size(added); i++) {
        EXPECT_EQ(added[i], nullptr) << "adder " << i;
    }
    EXPECT_EQ(keys_of(table), std::vector<std::string>{"name"});
    EXPECT_STREQ(GET_CHAR(table, "name"), "first");
    EXPECT_TRUE(amxc_var_is_null(null_var));
}

TEST(Variant, PathsSetKeyAndTakeKey) {
    Var root(AMXC_VAR_ID_HTABLE);
    amxc_var_t* node = amxc_var_add(amxc_htable_t, amxc_var_add_key(amxc_llist_t, root, "nodes", nullptr), nullptr);
    amxc_var_add_key(uint32_t, node, "id", 3);
    amxc_var_add_key(cstring_t, node, "a.b", "dotted");
    amxc_var_add_key(cstring_t, root, "7", "seven");
    amxc_var_add_key(bool, root, "z", true);
    EXPECT_EQ(GETP_UINT32(root, ".nodes..0.id."), 3u);
    EXPECT_STREQ(GETP_CHAR(root, "nodes.0.'a.b'"), "dotted");
    EXPECT_STREQ(GETP_CHAR(root, "7"), "seven");        // key before index
    EXPECT_EQ(GETP_ARG(root, "1"), GET_ARG(root, "7")); // htable position
    EXPECT_EQ(amxc_var_get_path(root, "1", AMXC_VAR_FLAG_NO_INDEX), nullptr);
    // An existing key is replaced only with UPDATE, and keeps its place.
    Var value;
    amxc_var_set(cstring_t, value, "new");
    EXPECT_NE(amxc_var_set_key(root, "7", value, AMXC_VAR_FLAG_COPY), 0);
    EXPECT_EQ(amxc_var_set_key(root, "7", value, AMXC_VAR_FLAG_COPY | AMXC_VAR_FLAG_UPDATE), 0);
    EXPECT_STREQ(GET_CHAR(root, "7"), "new");
    amxc_var_t* taken = amxc_var_take_key(root, "nodes");
    ASSERT_EQ(amxc_var_get_parent(taken), nullptr);
    amxc_var_delete(&taken);
    EXPECT_EQ(keys_of(root), (std::vector<std::string>{"7", "z"}));
}

TEST(Variant, CopyMoveAndCompare) {
    Var src(AMXC_VAR_ID_HTABLE);
    amxc_var_add_key(cstring_t, src, "name", "moca0");
    amxc_var_add_key(uint32_t, src, "id", 4);
    amxc_var_add(bool, amxc_var_add_key(amxc_llist_t, src, "l", nullptr), true);
    Var copy;
    ASSERT_EQ(amxc_var_copy(copy, src), 0);
    int result = -99;
    ASSERT_EQ(amxc_var_compare(src, copy, &result), 0);
    EXPECT_EQ(result, 0);
    amxc_var_set(uint32_t, GET_ARG(copy, "id"), 5);
    ASSERT_EQ(amxc_var_compare(src, copy, &result), 0);
    EXPECT_LT(result, 0);
    // Moving a table must leave its children reachable and parented correctly.
    Var moved;
    ASSERT_EQ(amxc_var_move(moved, copy), 0);
    EXPECT_TRUE(amxc_var_is_null(copy));
    EXPECT_EQ(keys_of(moved), (std::vector<std::string>{"name", "id", "l"}));
    EXPECT_EQ(amxc_var_get_parent(GET_ARG(moved, "id")), moved.v);
    EXPECT_NE(amxc_var_add_key(bool, moved, "extra", true), nullptr);
    EXPECT_EQ(GETP_ARG(moved, "l.0"), amxc_var_get_first(GET_ARG(moved, "l")));

    // clang-format off
    const struct {
        const char* name; void (*fill)(amxc_var_t*, amxc_var_t*); int sign;
    } cases[] = {
        {"null vs value", [](amxc_var_t*, amxc_var_t* b) { amxc_var_set(uint32_t, b, 0); }, -1},
        {"uint32 vs text", [](amxc_var_t* a, amxc_var_t* b) { amxc_var_set(uint32_t, a, 5); amxc_var_set(cstring_t, b, "5"); }, 0},
        {"text vs uint32 as text", [](amxc_var_t* a, amxc_var_t* b) { amxc_var_set(cstring_t, a, "10"); amxc_var_set(uint32_t, b, 9); }, -1},
        {"empty tables", [](amxc_var_t* a, amxc_var_t* b) { amxc_var_set_type(a, AMXC_VAR_ID_HTABLE); amxc_var_set_type(b, AMXC_VAR_ID_HTABLE); }, 0},
    };
    // clang-format on
    for(const auto& c : cases) {
        Var a;
        Var b;
        c.fill(a, b);
        ASSERT_EQ(amxc_var_compare(a, b, &result), 0) << c.name;
        EXPECT_EQ((result > 0) - (result < 0), c.sign) << c.name;
    }
}

TEST(Variant, CastToAnyDetectsTheType) {
    const std::pair<const char*, amxc_var_type_id_t> cases[] = {
        {"true", AMXC_VAR_ID_BOOL},      {" Off", AMXC_VAR_ID_BOOL},
        {"-5", AMXC_VAR_ID_INT32},       {"-5000000000", AMXC_VAR_ID_INT64},
        {"12", AMXC_VAR_ID_UINT32},      {"5000000000", AMXC_VAR_ID_UINT64},
        {"1.5", AMXC_VAR_ID_DOUBLE},     {"2021-03-04T05:06:07Z", AMXC_VAR_ID_TIMESTAMP},
        {"tomato", AMXC_VAR_ID_CSTRING}, {"", AMXC_VAR_ID_CSTRING},
    };
    for(const auto& [text, type] : cases) {
        Var v;
        amxc_var_set(cstring_t, v, text);
        EXPECT_EQ(amxc_var_cast(v, AMXC_VAR_ID_ANY), 0) << text;
        EXPECT_EQ(amxc_var_type_of(v), type) << text;
    }
    Var bad;
    amxc_var_set(cstring_t, bad, "12x");
    EXPECT_NE(amxc_var_cast(bad, AMXC_VAR_ID_UINT32), 0);
    EXPECT_STREQ(amxc_var_constcast(cstring_t, bad), "12x"); // unchanged on failure
}

} // namespace
