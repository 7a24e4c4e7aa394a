// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "varjson.h"

#include "key_order.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace host {

namespace {

struct TypeLabel {
    std::string_view label;
    amxc_var_type_id_t id;
};

// Types that the argument form can make and the typed form prints.
constexpr std::array<TypeLabel, 16> type_labels{{
    {"null", AMXC_VAR_ID_NULL},
    {"cstring", AMXC_VAR_ID_CSTRING},
    {"csv_string", AMXC_VAR_ID_CSV_STRING},
    {"ssv_string", AMXC_VAR_ID_SSV_STRING},
    {"bool", AMXC_VAR_ID_BOOL},
    {"int8", AMXC_VAR_ID_INT8},
    {"int16", AMXC_VAR_ID_INT16},
    {"int32", AMXC_VAR_ID_INT32},
    {"int64", AMXC_VAR_ID_INT64},
    {"uint8", AMXC_VAR_ID_UINT8},
    {"uint16", AMXC_VAR_ID_UINT16},
    {"uint32", AMXC_VAR_ID_UINT32},
    {"uint64", AMXC_VAR_ID_UINT64},
    {"double", AMXC_VAR_ID_DOUBLE},
    {"htable", AMXC_VAR_ID_HTABLE},
    {"list", AMXC_VAR_ID_LIST},
}};

// An integer of either sign, as sign and magnitude.
struct Integer {
    bool negative = false;
    uint64_t magnitude = 0;
};

bool json_integer(const json& value, Integer* out) {
    if(value.is_number_unsigned()) {
        *out = {false, value.get<uint64_t>()};
        return true;
    }
    if(value.is_number_integer()) {
        int64_t v = value.get<int64_t>();
        if(v < 0) {
            *out = {true, static_cast<uint64_t>(-(v + 1)) + 1};
        } else {
            *out = {false, static_cast<uint64_t>(v)};
        }
        return true;
    }
    if(value.is_string()) {
        json parsed;
        if(!parse_integer_text(value.get<std::string>(), &parsed)) {
            return false;
        }
        return json_integer(parsed, out);
    }
    return false;
}

bool fits_signed(const Integer& v, int64_t min, int64_t max, int64_t* out) {
    if(v.negative) {
        uint64_t limit = static_cast<uint64_t>(-(min + 1)) + 1;
        if(v.magnitude > limit) {
            return false;
        }
        *out = v.magnitude == 0 ? 0 : -static_cast<int64_t>(v.magnitude - 1) - 1;
        return true;
    }
    if(v.magnitude > static_cast<uint64_t>(max)) {
        return false;
    }
    *out = static_cast<int64_t>(v.magnitude);
    return true;
}

bool fits_unsigned(const Integer& v, uint64_t max, uint64_t* out) {
    if((v.negative && v.magnitude != 0) || v.magnitude > max) {
        return false;
    }
    *out = v.magnitude;
    return true;
}

std::string child_path(const std::string& path, const std::string& key) {
    return path + "." + key;
}

std::string index_path(const std::string& path, size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

bool fail(std::string* err, const std::string& path, const std::string& what) {
    if(err != nullptr) {
        *err = path + ": " + what;
    }
    return false;
}

bool convert(const json& in, amxc_var_t* var, const std::string& path, std::string* err);

bool convert_object(const json& in, amxc_var_t* var, const std::string& path, std::string* err) {
    amxc_var_set_type(var, AMXC_VAR_ID_HTABLE);
    for(const auto& [key, value] : in.items()) {
        amxc_var_t* child = amxc_var_add_new_key(var, key.c_str());
        if(child == nullptr) {
            return fail(err, child_path(path, key), key.empty() ? "empty key" : "key not accepted");
        }
        if(!convert(value, child, child_path(path, key), err)) {
            return false;
        }
    }
    return true;
}

bool convert_array(const json& in, amxc_var_t* var, const std::string& path, std::string* err) {
    amxc_var_set_type(var, AMXC_VAR_ID_LIST);
    size_t index = 0;
    for(const auto& value : in) {
        amxc_var_t* child = amxc_var_add_new(var);
        if(child == nullptr) {
            return fail(err, index_path(path, index), "element not accepted");
        }
        if(!convert(value, child, index_path(path, index), err)) {
            return false;
        }
        ++index;
    }
    return true;
}

bool set_string(amxc_var_t* var, amxc_var_type_id_t id, const std::string& text) {
    switch(id) {
        case AMXC_VAR_ID_CSV_STRING: return amxc_var_set_csv_string_t(var, text.c_str()) == 0;
        case AMXC_VAR_ID_SSV_STRING: return amxc_var_set_ssv_string_t(var, text.c_str()) == 0;
        default: return amxc_var_set_cstring_t(var, text.c_str()) == 0;
    }
}

bool convert_explicit(const json& in, amxc_var_t* var, const std::string& path, std::string* err) {
    for(const auto& [key, value] : in.items()) {
        (void) value;
        if(key != "$type" && key != "$value") {
            return fail(err, path, "unexpected key '" + key + "' beside $type");
        }
    }
    const json& type = in["$type"];
    if(!type.is_string()) {
        return fail(err, path, "$type must be a type name");
    }
    std::string label = type.get<std::string>();
    const TypeLabel* found = nullptr;
    for(const auto& t : type_labels) {
        if(t.label == label) {
            found = &t;
        }
    }
    if(found == nullptr) {
        return fail(err, path, "unknown type '" + label + "'");
    }
    const std::string vpath = path + ".$value";
    bool has_value = in.contains("$value");
    const json value = has_value ? in["$value"] : json();
    if(!has_value && found->id != AMXC_VAR_ID_NULL) {
        return fail(err, path, "$value missing");
    }

    Integer integer;
    int64_t s = 0;
    uint64_t u = 0;
    switch(found->id) {
        case AMXC_VAR_ID_NULL:
            if(!value.is_null()) {
                return fail(err, vpath, "a null value must be null");
            }
            amxc_var_set_type(var, AMXC_VAR_ID_NULL);
            return true;
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING:
            if(!value.is_string()) {
                return fail(err, vpath, "expected a string for " + label);
            }
            set_string(var, found->id, value.get<std::string>());
            return true;
        case AMXC_VAR_ID_BOOL:
            if(value.is_boolean()) {
                amxc_var_set_bool(var, value.get<bool>());
                return true;
            }
            if(value.is_string() && (value == "true" || value == "false")) {
                amxc_var_set_bool(var, value == "true");
                return true;
            }
            return fail(err, vpath, "expected true or false");
        case AMXC_VAR_ID_DOUBLE: {
            if(value.is_number()) {
                amxc_var_set_double(var, value.get<double>());
                return true;
            }
            if(value.is_string()) {
                const std::string text = value.get<std::string>();
                char* end = nullptr;
                errno = 0;
                double d = std::strtod(text.c_str(), &end);
                if(!text.empty() && *end == '\0' && errno == 0) {
                    amxc_var_set_double(var, d);
                    return true;
                }
            }
            return fail(err, vpath, "expected a number for double");
        }
        case AMXC_VAR_ID_HTABLE:
            if(!value.is_object()) {
                return fail(err, vpath, "expected an object for htable");
            }
            return convert_object(value, var, vpath, err);
        case AMXC_VAR_ID_LIST:
            if(!value.is_array()) {
                return fail(err, vpath, "expected an array for list");
            }
            return convert_array(value, var, vpath, err);
        default: break;
    }

    // The integer types.
    if(!json_integer(value, &integer)) {
        return fail(err, vpath, "expected an integer for " + label);
    }
    bool ok = true;
    switch(found->id) {
        case AMXC_VAR_ID_INT8:
            ok = fits_signed(integer, INT8_MIN, INT8_MAX, &s) && amxc_var_set_int8_t(var, static_cast<int8_t>(s)) == 0;
            break;
        case AMXC_VAR_ID_INT16:
            ok = fits_signed(integer, INT16_MIN, INT16_MAX, &s) &&
                 amxc_var_set_int16_t(var, static_cast<int16_t>(s)) == 0;
            break;
        case AMXC_VAR_ID_INT32:
            ok = fits_signed(integer, INT32_MIN, INT32_MAX, &s) &&
                 amxc_var_set_int32_t(var, static_cast<int32_t>(s)) == 0;
            break;
        case AMXC_VAR_ID_INT64:
            ok = fits_signed(integer, INT64_MIN, INT64_MAX, &s) && amxc_var_set_int64_t(var, s) == 0;
            break;
        case AMXC_VAR_ID_UINT8:
            ok = fits_unsigned(integer, UINT8_MAX, &u) && amxc_var_set_uint8_t(var, static_cast<uint8_t>(u)) == 0;
            break;
        case AMXC_VAR_ID_UINT16:
            ok = fits_unsigned(integer, UINT16_MAX, &u) && amxc_var_set_uint16_t(var, static_cast<uint16_t>(u)) == 0;
            break;
        case AMXC_VAR_ID_UINT32:
            ok = fits_unsigned(integer, UINT32_MAX, &u) && amxc_var_set_uint32_t(var, static_cast<uint32_t>(u)) == 0;
            break;
        default: ok = fits_unsigned(integer, UINT64_MAX, &u) && amxc_var_set_uint64_t(var, u) == 0; break;
    }
    if(!ok) {
        return fail(err, vpath, "value out of range for " + label);
    }
    return true;
}

bool convert(const json& in, amxc_var_t* var, const std::string& path, std::string* err) {
    switch(in.type()) {
        case json::value_t::null: amxc_var_set_type(var, AMXC_VAR_ID_NULL); return true;
        case json::value_t::boolean: amxc_var_set_bool(var, in.get<bool>()); return true;
        case json::value_t::string: amxc_var_set_cstring_t(var, in.get_ref<const std::string&>().c_str()); return true;
        case json::value_t::number_unsigned:
        case json::value_t::number_integer: {
            Integer integer;
            json_integer(in, &integer);
            int64_t s = 0;
            if(!integer.negative || integer.magnitude == 0) {
                if(integer.magnitude <= UINT32_MAX) {
                    amxc_var_set_uint32_t(var, static_cast<uint32_t>(integer.magnitude));
                } else {
                    amxc_var_set_uint64_t(var, integer.magnitude);
                }
            } else if(fits_signed(integer, INT32_MIN, INT32_MAX, &s)) {
                amxc_var_set_int32_t(var, static_cast<int32_t>(s));
            } else {
                fits_signed(integer, INT64_MIN, INT64_MAX, &s);
                amxc_var_set_int64_t(var, s);
            }
            return true;
        }
        case json::value_t::number_float:
            // A fraction, an exponent, or an integer beyond the 64-bit range (which
            // the parser reads as a float, as JSON has one kind of number).
            amxc_var_set_double(var, in.get<double>());
            return true;
        case json::value_t::array: return convert_array(in, var, path, err);
        case json::value_t::object:
            if(in.contains("$type")) {
                return convert_explicit(in, var, path, err);
            }
            return convert_object(in, var, path, err);
        default: return fail(err, path, "value not supported");
    }
}

const char* text_of(const amxc_var_t* var) {
    return var->data.s != nullptr ? var->data.s : "";
}

json wrap(const std::string& label, json value) {
    json out = json::array();
    out.push_back(label);
    out.push_back(std::move(value));
    return out;
}

} // namespace

json variant_to_typed_json(const amxc_var_t* var, std::string_view function) {
    if(var == nullptr) {
        return nullptr;
    }
    const std::string label = variant_type_label(var);
    switch(amxc_var_type_of(var)) {
        case AMXC_VAR_ID_NULL: return wrap(label, nullptr);
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING: return wrap(label, text_of(var));
        case AMXC_VAR_ID_BOOL: return wrap(label, var->data.b);
        case AMXC_VAR_ID_INT8: return wrap(label, static_cast<int64_t>(var->data.i8));
        case AMXC_VAR_ID_INT16: return wrap(label, static_cast<int64_t>(var->data.i16));
        case AMXC_VAR_ID_INT32: return wrap(label, static_cast<int64_t>(var->data.i32));
        case AMXC_VAR_ID_INT64: return wrap(label, var->data.i64);
        case AMXC_VAR_ID_UINT8: return wrap(label, static_cast<uint64_t>(var->data.ui8));
        case AMXC_VAR_ID_UINT16: return wrap(label, static_cast<uint64_t>(var->data.ui16));
        case AMXC_VAR_ID_UINT32: return wrap(label, static_cast<uint64_t>(var->data.ui32));
        case AMXC_VAR_ID_UINT64: return wrap(label, var->data.ui64);
        case AMXC_VAR_ID_DOUBLE: return wrap(label, var->data.d);
        case AMXC_VAR_ID_FD: return wrap(label, static_cast<int64_t>(var->data.fd));
        case AMXC_VAR_ID_HTABLE: {
            json object = json::object();
            for(const std::string& key : documented_key_order(function)) {
                if(const amxc_var_t* child = amxc_var_get_key(var, key.c_str(), AMXC_VAR_FLAG_DEFAULT)) {
                    object[key] = variant_to_typed_json(child);
                }
            }
            for(amxc_var_t* child = amxc_var_get_first(var); child != nullptr; child = amxc_var_get_next(child)) {
                const char* key = amxc_var_key(child);
                if(!object.contains(key != nullptr ? key : "")) {
                    object[key != nullptr ? key : ""] = variant_to_typed_json(child);
                }
            }
            return wrap(label, std::move(object));
        }
        case AMXC_VAR_ID_LIST: {
            json array = json::array();
            for(amxc_var_t* child = amxc_var_get_first(var); child != nullptr; child = amxc_var_get_next(child)) {
                array.push_back(variant_to_typed_json(child));
            }
            return wrap(label, std::move(array));
        }
        default:
            // A type that this host does not print (timestamp, custom): its name only.
            return wrap(label, nullptr);
    }
}

std::string variant_type_label(const amxc_var_t* var) {
    amxc_var_type_id_t id = amxc_var_type_of(var);
    for(const auto& t : type_labels) {
        if(t.id == id) {
            return std::string(t.label);
        }
    }
    switch(id) {
        case AMXC_VAR_ID_FLOAT: return "float";
        case AMXC_VAR_ID_FD: return "fd";
        case AMXC_VAR_ID_TIMESTAMP: return "timestamp";
        default: return "type" + std::to_string(id);
    }
}

bool is_variant_type_label(std::string_view label) {
    for(const auto& t : type_labels) {
        if(t.label == label) {
            return true;
        }
    }
    return false;
}

bool parse_integer_text(std::string_view text, json* out) {
    size_t pos = 0;
    bool negative = false;
    if(pos < text.size() && text[pos] == '-') {
        negative = true;
        ++pos;
    }
    unsigned base = 10;
    if(text.size() - pos > 2 && text[pos] == '0' && (text[pos + 1] == 'x' || text[pos + 1] == 'X')) {
        base = 16;
        pos += 2;
    }
    if(pos == text.size()) {
        return false;
    }
    uint64_t magnitude = 0;
    for(size_t i = pos; i < text.size(); ++i) {
        char c = text[i];
        unsigned digit = 0;
        if(c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if(base == 16 && c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned>(c - 'a' + 10);
        } else if(base == 16 && c >= 'A' && c <= 'F') {
            digit = static_cast<unsigned>(c - 'A' + 10);
        } else {
            return false;
        }
        if(magnitude > (UINT64_MAX - digit) / base) {
            return false;
        }
        magnitude = magnitude * base + digit;
    }
    if(!negative || magnitude == 0) {
        *out = magnitude;
        return true;
    }
    if(magnitude > static_cast<uint64_t>(INT64_MAX) + 1) {
        return false;
    }
    *out = -static_cast<int64_t>(magnitude - 1) - 1;
    return true;
}

bool json_to_variant(const json& in, amxc_var_t* var, std::string* err) {
    amxc_var_clean(var);
    if(!convert(in, var, "$", err)) {
        amxc_var_clean(var);
        return false;
    }
    return true;
}

std::string to_line(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

Variant::Variant() {
    amxc_var_new(&var_);
}

Variant::~Variant() {
    amxc_var_delete(&var_);
}

} // namespace host
