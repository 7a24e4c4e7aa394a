// Internals shared between the libamxc sources; not exported.
#pragma once

#include <cstddef>
#include <cstdint>

#include <amxc/amxc.h>

#define AMXC_INTERNAL __attribute__((visibility("hidden")))

// Inserts `it` under `key` and places it just before `ref` in iteration order.
AMXC_INTERNAL int amxc_htable_insert_before(amxc_htable_t* htable, const char* key, amxc_htable_it_t* it,
                                            amxc_htable_it_t* ref);
// Fixes the bucket back-pointers after the table struct was copied elsewhere.
AMXC_INTERNAL void amxc_htable_relocated(amxc_htable_t* htable);

namespace amxc {

// Growable, always NUL-terminated text on the C heap.
struct TextBuf {
    char* data = nullptr;
    size_t len = 0;
    size_t cap = 0;
    bool failed = false;

    TextBuf() = default;
    TextBuf(const TextBuf&) = delete;
    TextBuf& operator=(const TextBuf&) = delete;
    ~TextBuf();

    void append(const char* text, size_t n);
    void append(const char* text);
    void append_char(char c) { append(&c, 1); }
    void appendf(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    // Hands the buffer over (NULL when an allocation failed).
    char* release();
};

// Text form of a variant (malloc'ed), or NULL when it has none.
AMXC_INTERNAL char* to_text(const amxc_var_t* var);

AMXC_INTERNAL bool ts_parse(const char* text, amxc_ts_t* ts);
AMXC_INTERNAL void ts_format(const amxc_ts_t* ts, TextBuf& out);

} // namespace amxc
