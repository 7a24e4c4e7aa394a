// SPDX-License-Identifier: BSD-2-Clause-Patent
// Conversion between libamxc variants and JSON.
//
// Typed form, used by the script output: every variant is [TYPE, VALUE], with
// TYPE one of null, cstring, csv_string, ssv_string, bool, int8, int16, int32,
// int64, uint8, uint16, uint32, uint64, double, htable, list. An htable's VALUE
// is an object of typed values in the table's order, a list's an array of them.
//
// Argument form, read from scripts and from "call" operands: an object is an
// htable, a string a cstring, true/false a bool, a non-negative integer a uint32
// (uint64 when it does not fit), a negative integer an int32 (int64 when it does
// not fit), another number a double, an array a list, null a null variant.
// {"$type": T, "$value": V} makes a value of type T explicitly.
#pragma once

#include <string>
#include <string_view>

#include <amxc/amxc.h>
#include <nlohmann/json.hpp>

namespace host {

using json = nlohmann::ordered_json;

// [TYPE, VALUE]; a NULL pointer gives JSON null. Given the function that
// answered, the result's own keys come in the order the module inserts them
// (documented_key_order), the rest after them in the table's order.
json variant_to_typed_json(const amxc_var_t* var, std::string_view function = {});

// Fills *var from the argument form. On failure returns false, sets *err
// (with the JSON path of the offending value) and leaves *var null.
bool json_to_variant(const json& in, amxc_var_t* var, std::string* err);

// The TYPE label of a variant in the typed form.
std::string variant_type_label(const amxc_var_t* var);

// Whether a label names a type that the argument form can make.
bool is_variant_type_label(std::string_view label);

// Integer text in decimal or 0x hexadecimal with an optional minus sign, as
// a JSON integer (unsigned when not negative). Blanks, a plus sign or text
// beyond the 64-bit range make it not an integer. "010" is decimal ten.
bool parse_integer_text(std::string_view text, json* out);

// One compact JSON line; text that is not valid UTF-8 is replaced, never thrown on.
std::string to_line(const json& value);

// Owns a heap variant; null-initialised on construction.
class Variant {
public:
    Variant();
    ~Variant();
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    amxc_var_t* get() const { return var_; }

private:
    amxc_var_t* var_ = nullptr;
};

} // namespace host
