// Type conversion of variants and the converting (dyncast) getters.
#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "amxc_priv.h"

namespace {

// A variant's value reduced to what the scalar conversions work from.
enum class Kind { None, Signed, Unsigned, Double, Bool, String, Count };

struct Value {
    Kind kind = Kind::None;
    int64_t i = 0;
    uint64_t u = 0;
    double d = 0;
    bool b = false;
    const char* s = nullptr;
};

Value read(const amxc_var_t* var) {
    Value v;
    const auto& data = var->data;
    switch(var->type_id) {
        case AMXC_VAR_ID_INT8:
            v.kind = Kind::Signed;
            v.i = data.i8;
            break;
        case AMXC_VAR_ID_INT16:
            v.kind = Kind::Signed;
            v.i = data.i16;
            break;
        case AMXC_VAR_ID_INT32:
            v.kind = Kind::Signed;
            v.i = data.i32;
            break;
        case AMXC_VAR_ID_INT64:
            v.kind = Kind::Signed;
            v.i = data.i64;
            break;
        case AMXC_VAR_ID_FD:
            v.kind = Kind::Signed;
            v.i = data.fd;
            break;
        case AMXC_VAR_ID_UINT8:
            v.kind = Kind::Unsigned;
            v.u = data.ui8;
            break;
        case AMXC_VAR_ID_UINT16:
            v.kind = Kind::Unsigned;
            v.u = data.ui16;
            break;
        case AMXC_VAR_ID_UINT32:
            v.kind = Kind::Unsigned;
            v.u = data.ui32;
            break;
        case AMXC_VAR_ID_UINT64:
            v.kind = Kind::Unsigned;
            v.u = data.ui64;
            break;
        case AMXC_VAR_ID_DOUBLE:
            v.kind = Kind::Double;
            v.d = data.d;
            break;
        case AMXC_VAR_ID_BOOL:
            v.kind = Kind::Bool;
            v.b = data.b;
            break;
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING:
            v.kind = Kind::String;
            v.s = data.s;
            break;
        case AMXC_VAR_ID_LIST:
            v.kind = Kind::Count;
            v.u = amxc_llist_size(&data.vl);
            break;
        case AMXC_VAR_ID_HTABLE:
            v.kind = Kind::Count;
            v.u = data.vm.items;
            break;
        default: break;
    }
    return v;
}

const char* skip_space(const char* text) {
    while(isspace(static_cast<unsigned char>(*text))) {
        text++;
    }
    return text;
}

// Leading blanks are allowed, then a digit or a sign, and the parser must
// consume the rest of the text.
bool number_start(const char* text, const char** start) {
    if(text == nullptr) {
        return false;
    }
    const char* p = skip_space(text);
    if(!isdigit(static_cast<unsigned char>(*p)) && *p != '+' && *p != '-') {
        return false;
    }
    *start = p;
    return true;
}

bool parse_int(const char* text, int64_t& out) {
    const char* p = nullptr;
    if(!number_start(text, &p)) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    long long value = strtoll(p, &end, 0);
    if(errno != 0 || end == p || *end != 0) {
        return false;
    }
    out = value;
    return true;
}

bool parse_double(const char* text, double& out) {
    const char* p = nullptr;
    if(!number_start(text, &p)) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    double value = strtod(p, &end);
    if(errno != 0 || end == p || *end != 0) {
        return false;
    }
    out = value;
    return true;
}

// Words, after dropping all whitespace and lower-casing.
bool parse_bool(const char* text, bool& out) {
    if(text == nullptr) {
        return false;
    }
    char word[8];
    size_t n = 0;
    for(const char* p = text; *p != 0; p++) {
        if(isspace(static_cast<unsigned char>(*p))) {
            continue;
        }
        if(n + 1 >= sizeof(word)) {
            return false;
        }
        word[n++] = static_cast<char>(tolower(static_cast<unsigned char>(*p)));
    }
    word[n] = 0;
    static constexpr const char* yes[] = {"true", "yes", "1", "on"};
    static constexpr const char* no[] = {"false", "no", "0", "off"};
    for(const char* w : yes) {
        if(strcmp(word, w) == 0) {
            out = true;
            return true;
        }
    }
    for(const char* w : no) {
        if(strcmp(word, w) == 0) {
            out = false;
            return true;
        }
    }
    return false;
}

uint64_t magnitude(int64_t value) {
    return value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
}

// Truncates a double into [lo, hi]; fails outside it.
template <typename T>
bool double_to(double d, T& out) {
    if(!std::isfinite(d)) {
        return false;
    }
    double t = std::trunc(d);
    if(t < static_cast<double>(std::numeric_limits<T>::min()) ||
       t >= static_cast<double>(std::numeric_limits<T>::max()) + 1.0) {
        return false;
    }
    out = static_cast<T>(t);
    return true;
}

template <typename T>
bool to_integer(const Value& v, T& out) {
    using Lim = std::numeric_limits<T>;
    if constexpr(std::is_signed_v<T>) {
        int64_t x = 0;
        switch(v.kind) {
            case Kind::Signed: x = v.i; break;
            case Kind::Unsigned:
            case Kind::Count:
                if(v.u > static_cast<uint64_t>(Lim::max())) {
                    return false;
                }
                x = static_cast<int64_t>(v.u);
                break;
            case Kind::Double: return double_to(v.d, out);
            case Kind::Bool: x = v.b ? 1 : 0; break;
            case Kind::String:
                if(!parse_int(v.s, x)) {
                    return false;
                }
                break;
            default: return false;
        }
        if(x < Lim::min() || x > Lim::max()) {
            return false;
        }
        out = static_cast<T>(x);
    } else {
        // Signed sources lose their sign: the magnitude is converted.
        uint64_t x = 0;
        switch(v.kind) {
            case Kind::Signed: x = magnitude(v.i); break;
            case Kind::Unsigned:
            case Kind::Count: x = v.u; break;
            case Kind::Double: return double_to(std::fabs(v.d), out);
            case Kind::Bool: x = v.b ? 1 : 0; break;
            case Kind::String: {
                int64_t parsed = 0;
                if(!parse_int(v.s, parsed)) {
                    return false;
                }
                x = magnitude(parsed);
                break;
            }
            default: return false;
        }
        if(x > Lim::max()) {
            return false;
        }
        out = static_cast<T>(x);
    }
    return true;
}

bool to_double(const Value& v, double& out) {
    switch(v.kind) {
        case Kind::Signed: out = static_cast<double>(v.i); return true;
        case Kind::Unsigned:
        case Kind::Count: out = static_cast<double>(v.u); return true;
        case Kind::Double: out = v.d; return true;
        case Kind::Bool: out = v.b ? 1 : 0; return true;
        case Kind::String: return parse_double(v.s, out);
        default: return false;
    }
}

bool to_bool(const Value& v, bool& out) {
    switch(v.kind) {
        case Kind::Signed: out = v.i != 0; return true;
        case Kind::Unsigned:
        case Kind::Count: out = v.u != 0; return true;
        case Kind::Double: out = v.d != 0; return true;
        case Kind::Bool: out = v.b; return true;
        case Kind::String: return parse_bool(v.s, out);
        default: return false;
    }
}

template <typename T>
T get_number(const amxc_var_t* var) {
    T out{};
    if(var == nullptr) {
        return out;
    }
    if constexpr(std::is_same_v<T, double>) {
        return to_double(read(var), out) ? out : 0.0;
    } else {
        return to_integer(read(var), out) ? out : T{};
    }
}

void append_text(amxc::TextBuf& out, const amxc_var_t* var) {
    char* text = amxc::to_text(var);
    if(text != nullptr) {
        out.append(text);
        free(text);
    }
}

char* join(const amxc_var_t* var, char separator) {
    amxc::TextBuf out;
    out.append("", 0);
    bool first = true;
    for(amxc_var_t* child = amxc_var_get_first(var); child != nullptr; child = amxc_var_get_next(child)) {
        if(!first) {
            out.append_char(separator);
        }
        first = false;
        if(var->type_id == AMXC_VAR_ID_HTABLE) {
            out.append(child->hit.key);
            out.append_char(':');
        }
        append_text(out, child);
    }
    return out.release();
}

// Splits text into a list of strings: on ',' (trimmed) or on whitespace.
int split(amxc_var_t* dest, const char* text, bool on_space) {
    amxc_var_set_type(dest, AMXC_VAR_ID_LIST);
    const char* p = text != nullptr ? text : "";
    while(*p != 0) {
        if(on_space) {
            p = skip_space(p);
            if(*p == 0) {
                break;
            }
        }
        const char* end = p;
        while(*end != 0 && (on_space ? !isspace(static_cast<unsigned char>(*end)) : *end != ',')) {
            end++;
        }
        const char* b = on_space ? p : skip_space(p);
        const char* e = end;
        while(e > b && isspace(static_cast<unsigned char>(e[-1]))) {
            e--;
        }
        char* item = strndup(b, static_cast<size_t>(e - b));
        amxc_var_t* child = amxc_var_add_new(dest);
        if(item == nullptr || child == nullptr || amxc_var_push_cstring_t(child, item) != 0) {
            free(item);
            return -1;
        }
        p = *end != 0 ? end + 1 : end;
    }
    return 0;
}

int to_list(amxc_var_t* dest, const amxc_var_t* src) {
    switch(src->type_id) {
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING: return split(dest, src->data.s, false);
        case AMXC_VAR_ID_SSV_STRING: return split(dest, src->data.s, true);
        case AMXC_VAR_ID_HTABLE:
            amxc_var_set_type(dest, AMXC_VAR_ID_LIST);
            for(amxc_var_t* child = amxc_var_get_first(src); child != nullptr; child = amxc_var_get_next(child)) {
                amxc_var_t* copy = amxc_var_add_new(dest);
                if(copy == nullptr || amxc_var_copy(copy, child) != 0) {
                    return -1;
                }
            }
            return 0;
        default: {
            amxc_var_set_type(dest, AMXC_VAR_ID_LIST);
            amxc_var_t* copy = amxc_var_add_new(dest);
            return copy != nullptr ? amxc_var_copy(copy, src) : -1;
        }
    }
}

int to_htable(amxc_var_t* dest, const amxc_var_t* src) {
    if(src->type_id != AMXC_VAR_ID_LIST) {
        return -1;
    }
    amxc_var_set_type(dest, AMXC_VAR_ID_HTABLE);
    unsigned int index = 0;
    for(amxc_var_t* child = amxc_var_get_first(src); child != nullptr; child = amxc_var_get_next(child)) {
        char key[16];
        snprintf(key, sizeof(key), "%u", index++);
        amxc_var_t* copy = amxc_var_add_new_key(dest, key);
        if(copy == nullptr || amxc_var_copy(copy, child) != 0) {
            return -1;
        }
    }
    return 0;
}

template <typename T>
int store_integer(amxc_var_t* dest, const Value& v, int (*setter)(amxc_var_t*, T)) {
    T out{};
    return to_integer(v, out) ? setter(dest, out) : -1;
}

int convert_into(amxc_var_t* dest, const amxc_var_t* src, amxc_var_type_id_t type);

// Guesses the type of a text: a word may be a bool, a signed text an
// integer or a double, other texts an unsigned or a double; then a
// timestamp; failing all, it stays text.
int autodetect(amxc_var_t* dest, const amxc_var_t* src) {
    const char* p = skip_space(src->data.s != nullptr ? src->data.s : "");
    static constexpr amxc_var_type_id_t word[] = {AMXC_VAR_ID_BOOL};
    static constexpr amxc_var_type_id_t signed_num[] = {AMXC_VAR_ID_INT32, AMXC_VAR_ID_INT64, AMXC_VAR_ID_DOUBLE};
    static constexpr amxc_var_type_id_t unsigned_num[] = {AMXC_VAR_ID_UINT32, AMXC_VAR_ID_UINT64, AMXC_VAR_ID_DOUBLE};
    const amxc_var_type_id_t* tries = unsigned_num;
    size_t count = 3;
    if(*p != 0 && strchr("tTyYfFnNoO", *p) != nullptr) {
        tries = word;
        count = 1;
    } else if(*p == '+' || *p == '-') {
        tries = signed_num;
    }
    for(size_t i = 0; i < count; i++) {
        if(convert_into(dest, src, tries[i]) == 0) {
            return 0;
        }
    }
    if(convert_into(dest, src, AMXC_VAR_ID_TIMESTAMP) == 0) {
        return 0;
    }
    return amxc_var_copy(dest, src);
}

int convert_into(amxc_var_t* dest, const amxc_var_t* src, amxc_var_type_id_t type) {
    if(type == src->type_id) {
        return amxc_var_copy(dest, src);
    }
    if(type == AMXC_VAR_ID_ANY) {
        return src->type_id == AMXC_VAR_ID_CSTRING || src->type_id == AMXC_VAR_ID_CSV_STRING ||
                       src->type_id == AMXC_VAR_ID_SSV_STRING
                   ? autodetect(dest, src)
                   : amxc_var_copy(dest, src);
    }
    if(src->type_id == AMXC_VAR_ID_NULL) {
        return -1;
    }
    const Value v = read(src);
    switch(type) {
        case AMXC_VAR_ID_INT8: return store_integer<int8_t>(dest, v, amxc_var_set_int8_t);
        case AMXC_VAR_ID_INT16: return store_integer<int16_t>(dest, v, amxc_var_set_int16_t);
        case AMXC_VAR_ID_INT32: return store_integer<int32_t>(dest, v, amxc_var_set_int32_t);
        case AMXC_VAR_ID_INT64: return store_integer<int64_t>(dest, v, amxc_var_set_int64_t);
        case AMXC_VAR_ID_UINT8: return store_integer<uint8_t>(dest, v, amxc_var_set_uint8_t);
        case AMXC_VAR_ID_UINT16: return store_integer<uint16_t>(dest, v, amxc_var_set_uint16_t);
        case AMXC_VAR_ID_UINT32: return store_integer<uint32_t>(dest, v, amxc_var_set_uint32_t);
        case AMXC_VAR_ID_UINT64: return store_integer<uint64_t>(dest, v, amxc_var_set_uint64_t);
        case AMXC_VAR_ID_FD: {
            int32_t fd = 0;
            if(!to_integer(v, fd)) {
                return -1;
            }
            amxc_var_set_type(dest, AMXC_VAR_ID_FD);
            dest->data.fd = fd;
            return 0;
        }
        case AMXC_VAR_ID_DOUBLE: {
            double d = 0;
            return to_double(v, d) ? amxc_var_set_double(dest, d) : -1;
        }
        case AMXC_VAR_ID_BOOL: {
            bool b = false;
            return to_bool(v, b) ? amxc_var_set_bool(dest, b) : -1;
        }
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING: {
            char* text = (src->type_id == AMXC_VAR_ID_LIST && type == AMXC_VAR_ID_SSV_STRING) ? join(src, ' ')
                                                                                              : amxc::to_text(src);
            if(text == nullptr) {
                return -1;
            }
            amxc_var_set_type(dest, type);
            dest->data.s = text;
            return 0;
        }
        case AMXC_VAR_ID_LIST: return to_list(dest, src);
        case AMXC_VAR_ID_HTABLE: return to_htable(dest, src);
        case AMXC_VAR_ID_TIMESTAMP: {
            amxc_ts_t ts{};
            if(v.kind != Kind::String || !amxc::ts_parse(v.s, &ts)) {
                return -1;
            }
            return amxc_var_set_amxc_ts_t(dest, &ts);
        }
        default: return -1;
    }
}

bool is_leap(int64_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// Days since 1970-01-01 of a proleptic Gregorian date.
int64_t days_from_civil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2 ? 1 : 0;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

void civil_from_days(int64_t z, int64_t& y, unsigned& m, unsigned& d) {
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y = static_cast<int64_t>(yoe) + era * 400 + (m <= 2 ? 1 : 0);
}

// Reads exactly `n` digits.
bool digits(const char*& p, int n, unsigned& out) {
    out = 0;
    for(int i = 0; i < n; i++, p++) {
        if(!isdigit(static_cast<unsigned char>(*p))) {
            return false;
        }
        out = out * 10 + static_cast<unsigned>(*p - '0');
    }
    return true;
}

} // namespace

namespace amxc {

char* to_text(const amxc_var_t* var) {
    if(var == nullptr) {
        return nullptr;
    }
    TextBuf out;
    const auto& data = var->data;
    switch(var->type_id) {
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_SSV_STRING: return strdup(data.s != nullptr ? data.s : "");
        case AMXC_VAR_ID_INT8: out.appendf("%" PRId8, data.i8); break;
        case AMXC_VAR_ID_INT16: out.appendf("%" PRId16, data.i16); break;
        case AMXC_VAR_ID_INT32: out.appendf("%" PRId32, data.i32); break;
        case AMXC_VAR_ID_INT64: out.appendf("%" PRId64, data.i64); break;
        case AMXC_VAR_ID_UINT8: out.appendf("%" PRIu8, data.ui8); break;
        case AMXC_VAR_ID_UINT16: out.appendf("%" PRIu16, data.ui16); break;
        case AMXC_VAR_ID_UINT32: out.appendf("%" PRIu32, data.ui32); break;
        case AMXC_VAR_ID_UINT64: out.appendf("%" PRIu64, data.ui64); break;
        case AMXC_VAR_ID_FD: out.appendf("%d", data.fd); break;
        case AMXC_VAR_ID_DOUBLE: out.appendf("%f", data.d); break;
        case AMXC_VAR_ID_BOOL: out.append(data.b ? "true" : "false"); break;
        case AMXC_VAR_ID_TIMESTAMP: ts_format(&data.ts, out); break;
        case AMXC_VAR_ID_LIST:
        case AMXC_VAR_ID_HTABLE: return join(var, ',');
        default: return nullptr;
    }
    return out.release();
}

// RFC 3339: YYYY-MM-DDTHH:MM:SS[.fraction](Z|+HH:MM|-HH:MM)
bool ts_parse(const char* text, amxc_ts_t* ts) {
    if(text == nullptr) {
        return false;
    }
    const char* p = skip_space(text);
    unsigned year = 0, month = 0, day = 0, hour = 0, min = 0, sec = 0;
    if(!digits(p, 4, year) || *p++ != '-' || !digits(p, 2, month) || *p++ != '-' || !digits(p, 2, day) ||
       (*p != 'T' && *p != 't' && *p != ' ')) {
        return false;
    }
    p++;
    if(!digits(p, 2, hour) || *p++ != ':' || !digits(p, 2, min) || *p++ != ':' || !digits(p, 2, sec)) {
        return false;
    }
    static constexpr unsigned month_days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if(month < 1 || month > 12 || day < 1 || day > month_days[month - 1] + ((month == 2 && is_leap(year)) ? 1 : 0) ||
       hour > 23 || min > 59 || sec > 60) {
        return false;
    }
    int32_t nsec = 0;
    if(*p == '.') {
        p++;
        int n = 0;
        for(; isdigit(static_cast<unsigned char>(*p)); p++, n++) {
            if(n < 9) {
                nsec = nsec * 10 + (*p - '0');
            }
        }
        if(n == 0) {
            return false;
        }
        for(; n < 9; n++) {
            nsec *= 10;
        }
    }
    int offset = 0;
    if(*p == 'Z' || *p == 'z') {
        p++;
    } else if(*p == '+' || *p == '-') {
        int sign = *p++ == '-' ? -1 : 1;
        unsigned oh = 0, om = 0;
        if(!digits(p, 2, oh) || *p++ != ':' || !digits(p, 2, om) || oh > 23 || om > 59) {
            return false;
        }
        offset = sign * static_cast<int>(oh * 60 + om);
    } else {
        return false;
    }
    if(*skip_space(p) != 0) {
        return false;
    }
    int64_t days = days_from_civil(year, month, day);
    ts->sec = days * 86400 + hour * 3600 + min * 60 + sec - offset * 60;
    ts->nsec = nsec;
    ts->offset = static_cast<int16_t>(offset);
    return true;
}

void ts_format(const amxc_ts_t* ts, TextBuf& out) {
    int64_t local = ts->sec + ts->offset * 60;
    int64_t days = local >= 0 ? local / 86400 : (local - 86399) / 86400;
    int64_t rest = local - days * 86400;
    int64_t year = 0;
    unsigned month = 0, day = 0;
    civil_from_days(days, year, month, day);
    out.appendf("%04" PRId64 "-%02u-%02uT%02u:%02u:%02u", year, month, day, static_cast<unsigned>(rest / 3600),
                static_cast<unsigned>(rest / 60 % 60), static_cast<unsigned>(rest % 60));
    if(ts->nsec > 0) {
        out.appendf(".%09" PRId32, ts->nsec);
    }
    if(ts->offset == 0) {
        out.append("Z");
    } else {
        int off = ts->offset < 0 ? -ts->offset : ts->offset;
        out.appendf("%c%02d:%02d", ts->offset < 0 ? '-' : '+', off / 60, off % 60);
    }
}

} // namespace amxc

extern "C" {

int amxc_var_convert(amxc_var_t* const dest, const amxc_var_t* src, const amxc_var_type_id_t type_id) {
    if(dest == nullptr) {
        return -1;
    }
    if(src == nullptr) {
        amxc_var_clean(dest);
        return -1;
    }
    amxc_var_t tmp;
    amxc_var_init(&tmp);
    int rc = convert_into(&tmp, src, type_id);
    if(rc != 0) {
        amxc_var_clean(&tmp);
        amxc_var_clean(dest);
        return rc;
    }
    return amxc_var_move(dest, &tmp);
}

int amxc_var_cast(amxc_var_t* const var, const amxc_var_type_id_t type_id) {
    if(var == nullptr) {
        return -1;
    }
    if(var->type_id == type_id) {
        return 0;
    }
    amxc_var_t tmp;
    amxc_var_init(&tmp);
    int rc = convert_into(&tmp, var, type_id);
    if(rc != 0) {
        amxc_var_clean(&tmp);
        return rc;
    }
    return amxc_var_move(var, &tmp);
}

bool amxc_var_get_bool(const amxc_var_t* const var) {
    bool out = false;
    return var != nullptr && to_bool(read(var), out) && out;
}

int8_t amxc_var_get_int8_t(const amxc_var_t* const var) {
    return get_number<int8_t>(var);
}
uint8_t amxc_var_get_uint8_t(const amxc_var_t* const var) {
    return get_number<uint8_t>(var);
}
int16_t amxc_var_get_int16_t(const amxc_var_t* const var) {
    return get_number<int16_t>(var);
}
uint16_t amxc_var_get_uint16_t(const amxc_var_t* var) {
    return get_number<uint16_t>(var);
}
int32_t amxc_var_get_int32_t(const amxc_var_t* const var) {
    return get_number<int32_t>(var);
}
uint32_t amxc_var_get_uint32_t(const amxc_var_t* var) {
    return get_number<uint32_t>(var);
}
int64_t amxc_var_get_int64_t(const amxc_var_t* const var) {
    return get_number<int64_t>(var);
}
uint64_t amxc_var_get_uint64_t(const amxc_var_t* const var) {
    return get_number<uint64_t>(var);
}
double amxc_var_get_double(const amxc_var_t* var) {
    return get_number<double>(var);
}
int amxc_var_get_fd_t(const amxc_var_t* var) {
    return get_number<int32_t>(var);
}

char* amxc_var_get_cstring_t(const amxc_var_t* const var) {
    return amxc::to_text(var);
}

amxc_ts_t* amxc_var_get_amxc_ts_t(const amxc_var_t* var) {
    if(var == nullptr) {
        return nullptr;
    }
    amxc_ts_t ts{};
    if(var->type_id == AMXC_VAR_ID_TIMESTAMP) {
        ts = var->data.ts;
    } else if(read(var).kind != Kind::String || !amxc::ts_parse(var->data.s, &ts)) {
        return nullptr;
    }
    auto* out = static_cast<amxc_ts_t*>(malloc(sizeof(amxc_ts_t)));
    if(out != nullptr) {
        *out = ts;
    }
    return out;
}

amxc_htable_t* amxc_var_get_amxc_htable_t(const amxc_var_t* const var) {
    amxc_var_t tmp;
    amxc_var_init(&tmp);
    amxc_htable_t* out = nullptr;
    if(var == nullptr || amxc_var_convert(&tmp, var, AMXC_VAR_ID_HTABLE) != 0 || amxc_htable_new(&out, 0) != 0) {
        amxc_var_clean(&tmp);
        return nullptr;
    }
    *out = tmp.data.vm;
    amxc_htable_relocated(out);
    amxc_var_init(&tmp);
    return out;
}

amxc_llist_t* amxc_var_get_amxc_llist_t(const amxc_var_t* const var) {
    amxc_var_t tmp;
    amxc_var_init(&tmp);
    amxc_llist_t* out = nullptr;
    if(var == nullptr || amxc_var_convert(&tmp, var, AMXC_VAR_ID_LIST) != 0 || amxc_llist_new(&out) != 0) {
        amxc_var_clean(&tmp);
        return nullptr;
    }
    amxc_llist_move(out, &tmp.data.vl);
    amxc_var_clean(&tmp);
    return out;
}

} // extern "C"
