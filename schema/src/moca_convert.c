// SPDX-License-Identifier: BSD-2-Clause-Patent
/* The conversions of result values to TR-181 parameter values, and their rules in words. */
#include <ctype.h>
#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "moca_schema.h"

moca_schema_value_t moca_schema_bool(bool value) {
    moca_schema_value_t v = {.kind = MOCA_VALUE_BOOL, .boolean = value, .text = ""};
    return v;
}

moca_schema_value_t moca_schema_uint(uint64_t value) {
    moca_schema_value_t v = {.kind = MOCA_VALUE_UINT, .uint = value, .text = ""};
    return v;
}

moca_schema_value_t moca_schema_int(int64_t value) {
    if(value >= 0) {
        return moca_schema_uint((uint64_t) value);
    }
    moca_schema_value_t v = {.kind = MOCA_VALUE_INT, .sint = value, .text = ""};
    return v;
}

moca_schema_value_t moca_schema_text(const char* value) {
    moca_schema_value_t v = {.kind = MOCA_VALUE_TEXT, .text = value != NULL ? value : ""};
    return v;
}

__attribute__((format(printf, 3, 4))) static bool fail(char* why, size_t size, const char* format, ...) {
    if(why != NULL && size > 0) {
        va_list args;
        va_start(args, format);
        vsnprintf(why, size, format, args);
        va_end(args);
    }
    return false;
}

static bool has_range(const moca_schema_key_t* k) {
    return k->min < k->max;
}

static bool in_range(const moca_schema_key_t* k, int64_t v) {
    return !has_range(k) || (v >= k->min && v <= k->max);
}

/* A given integer as int64; false when it is none or does not fit. */
static bool integer(const moca_schema_value_t* v, int64_t* out) {
    if(v->kind == MOCA_VALUE_UINT && v->uint <= (uint64_t) INT64_MAX) {
        *out = (int64_t) v->uint;
        return true;
    }
    if(v->kind == MOCA_VALUE_INT) {
        *out = v->sint;
        return true;
    }
    return false;
}

static bool all_of(const char* s, size_t n, int (*is)(int)) {
    for(size_t i = 0; i < n; ++i) {
        if(is((unsigned char) s[i]) == 0) {
            return false;
        }
    }
    return true;
}

static bool put_text(moca_schema_published_t* out, const char* text, char* why, size_t size) {
    const size_t n = strlen(text);
    if(n >= sizeof(out->text)) {
        return fail(why, size, "longer than %zu", sizeof(out->text) - 1);
    }
    out->kind = MOCA_VALUE_TEXT;
    memcpy(out->text, text, n + 1);
    return true;
}

static bool put_uint(moca_schema_published_t* out, uint64_t v) {
    out->kind = MOCA_VALUE_UINT;
    out->uint = v;
    return true;
}

static bool put_int(moca_schema_published_t* out, int64_t v) {
    if(v >= 0) {
        return put_uint(out, (uint64_t) v);
    }
    out->kind = MOCA_VALUE_INT;
    out->sint = v;
    return true;
}

static bool copy(const moca_schema_key_t* k, const moca_schema_value_t* v, moca_schema_published_t* out, char* why,
                 size_t size) {
    if(v->kind == MOCA_VALUE_BOOL) {
        out->kind = MOCA_VALUE_BOOL;
        out->boolean = v->boolean;
        return true;
    }
    if(v->kind == MOCA_VALUE_TEXT) {
        return has_range(k) ? fail(why, size, "not a value") : put_text(out, v->text, why, size);
    }
    int64_t n = 0;
    if(has_range(k) && (!integer(v, &n) || !in_range(k, n))) {
        return fail(why, size, "outside %" PRId64 " to %" PRId64, k->min, k->max);
    }
    return v->kind == MOCA_VALUE_UINT ? put_uint(out, v->uint) : put_int(out, v->sint);
}

static bool text(const moca_schema_key_t* k, const moca_schema_value_t* v, moca_schema_published_t* out, char* why,
                 size_t size) {
    if(v->kind != MOCA_VALUE_TEXT) {
        return fail(why, size, "not a text");
    }
    if(!in_range(k, (int64_t) strlen(v->text))) {
        return fail(why, size, "longer than %" PRId64, k->max);
    }
    return put_text(out, v->text, why, size);
}

static bool scale(const moca_schema_key_t* k, const moca_schema_value_t* v, moca_schema_published_t* out, char* why,
                  size_t size) {
    int64_t n = 0;
    if(!integer(v, &n) || n < 0) {
        return fail(why, size, "not an unsigned number");
    }
    if((uint64_t) n > (uint64_t) k->max / k->factor) {
        return fail(why, size, "times %" PRIu64 " exceeds %" PRId64, k->factor, k->max);
    }
    return put_uint(out, (uint64_t) n * k->factor);
}

static bool negate(const moca_schema_key_t* k, const moca_schema_value_t* v, moca_schema_published_t* out, char* why,
                   size_t size) {
    int64_t n = 0;
    if(!integer(v, &n) || n < 0 || -n < k->min) {
        return fail(why, size, "not a magnitude from 0 to %" PRId64, -k->min);
    }
    return put_int(out, -n);
}

static bool hex(const moca_schema_key_t* k, const moca_schema_value_t* v, moca_schema_published_t* out, char* why,
                size_t size) {
    const char* digits = v->kind == MOCA_VALUE_TEXT ? v->text : "";
    size_t n = strlen(digits);
    if(n > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        digits += 2;
        n -= 2;
    }
    const size_t width = 2 * (size_t) k->bytes;
    if(n == 0 || n > width || width >= sizeof(out->text) || !all_of(digits, n, isxdigit)) {
        return fail(why, size, "not a hexadecimal number of at most %zu digits", width);
    }
    out->kind = MOCA_VALUE_TEXT;
    memset(out->text, '0', width - n);
    memcpy(out->text + (width - n), digits, n + 1);
    return true;
}

static bool code_name(const moca_schema_key_t* k, const moca_schema_value_t* v, moca_schema_published_t* out, char* why,
                      size_t size) {
    const char* digits = v->kind == MOCA_VALUE_TEXT ? v->text : "";
    const size_t n = strlen(digits);
    if(n == 0 || n > 8 || !all_of(digits, n, isxdigit)) {
        return fail(why, size, "not a hexadecimal code");
    }
    const uint32_t code = (uint32_t) strtoul(digits, NULL, 16);
    for(uint32_t i = 0; i < k->name_count; ++i) {
        if(k->names[i].code == code) {
            return put_text(out, k->names[i].name, why, size);
        }
    }
    return fail(why, size, "code %" PRIu32 " has no name", code);
}

static bool name(const moca_schema_key_t* k, const moca_schema_value_t* v, moca_schema_published_t* out, char* why,
                 size_t size) {
    for(uint32_t i = 0; v->kind == MOCA_VALUE_TEXT && i < k->name_count; ++i) {
        if(strcmp(v->text, k->names[i].name) == 0) {
            return put_text(out, v->text, why, size);
        }
    }
    return fail(why, size, "not a name of the enumeration");
}

static bool list(const moca_schema_key_t* k, const moca_schema_value_t* v, moca_schema_published_t* out, char* why,
                 size_t size) {
    if(v->kind != MOCA_VALUE_TEXT) {
        return fail(why, size, "not a list");
    }
    for(const char* item = v->text; *item != '\0';) {
        const size_t n = strcspn(item, ",");
        const bool number = n > 0 && n <= 18 && all_of(item, n, isdigit);
        if(!number || !in_range(k, strtoll(item, NULL, 10))) {
            return fail(why, size, "item \"%.*s\" is not a number from %" PRId64 " to %" PRId64, (int) n, item, k->min,
                        k->max);
        }
        item += n + (item[n] == ',' ? 1 : 0);
    }
    return put_text(out, v->text, why, size);
}

static bool convert(const moca_schema_key_t* key, const moca_schema_value_t* given, moca_schema_published_t* published,
                    char* why, size_t why_size) {
    switch(key->conv) {
        case MOCA_CONV_COPY: return copy(key, given, published, why, why_size);
        case MOCA_CONV_TEXT: return text(key, given, published, why, why_size);
        case MOCA_CONV_SCALE: return scale(key, given, published, why, why_size);
        case MOCA_CONV_NEGATE: return negate(key, given, published, why, why_size);
        case MOCA_CONV_HEX: return hex(key, given, published, why, why_size);
        case MOCA_CONV_CODE_NAME: return code_name(key, given, published, why, why_size);
        case MOCA_CONV_NAME: return name(key, given, published, why, why_size);
        case MOCA_CONV_LIST: return list(key, given, published, why, why_size);
        case MOCA_CONV_SECRET: return put_text(published, "", why, why_size);
        case MOCA_CONV_WITHHELD:
        case MOCA_CONV_NONE: break;
    }
    return fail(why, why_size, "not published");
}

moca_schema_outcome_t moca_schema_convert(const moca_schema_key_t* key, const moca_schema_value_t* given,
                                          moca_schema_published_t* published, char* why, size_t why_size) {
    if(key == NULL || given == NULL || published == NULL) {
        fail(why, why_size, "no value");
        return MOCA_SCHEMA_INVALID;
    }
    if(key->conv == MOCA_CONV_NONE || key->conv == MOCA_CONV_WITHHELD) {
        moca_schema_rule(key, why, why_size);
        return MOCA_SCHEMA_ABSENT;
    }
    if(key->conv == MOCA_CONV_HEX && given->kind == MOCA_VALUE_TEXT && given->text[0] == '\0') {
        fail(why, why_size, "no mask held");
        return MOCA_SCHEMA_ABSENT;
    }
    return convert(key, given, published, why, why_size) ? MOCA_SCHEMA_PUBLISHED : MOCA_SCHEMA_INVALID;
}

/* Appends to a bounded text; what does not fit is cut. */
__attribute__((format(printf, 4, 5))) static void append(char* out, size_t size, size_t* used, const char* format,
                                                         ...) {
    if(*used + 1 >= size) {
        return;
    }
    va_list args;
    va_start(args, format);
    const int n = vsnprintf(out + *used, size - *used, format, args);
    va_end(args);
    if(n > 0) {
        *used = *used + (size_t) n < size ? *used + (size_t) n : size - 1;
    }
}

static void names_text(const moca_schema_key_t* k, bool with_codes, char* out, size_t size, size_t* used) {
    for(uint32_t i = 0; i < k->name_count; ++i) {
        const char* sep = i == 0 ? "" : ", ";
        if(with_codes) {
            append(out, size, used, "%s%" PRIu32 " %s", sep, k->names[i].code, k->names[i].name);
        } else {
            append(out, size, used, "%s%s", sep, k->names[i].name);
        }
    }
}

char* moca_schema_rule(const moca_schema_key_t* k, char* out, size_t size) {
    size_t used = 0;
    if(k == NULL || out == NULL || size == 0) {
        return out;
    }
    out[0] = '\0';
    switch(k->conv) {
        case MOCA_CONV_COPY:
            if(has_range(k)) {
                append(out, size, &used, "as given, %" PRId64 " to %" PRId64, k->min, k->max);
            } else {
                append(out, size, &used, "as given");
            }
            break;
        case MOCA_CONV_TEXT: append(out, size, &used, "as given, at most %" PRId64 " characters", k->max); break;
        case MOCA_CONV_SCALE:
            append(out, size, &used, "%s to %s: times %" PRIu64 ", at most %" PRId64, k->given_unit, k->param_unit,
                   k->factor, k->max);
            break;
        case MOCA_CONV_NEGATE: append(out, size, &used, "magnitude below 0 dBm, published negative"); break;
        case MOCA_CONV_HEX:
            append(out, size, &used,
                   "hexadecimal number, zero-padded to hexBinary of %" PRIu32 " bytes; empty: none held", k->bytes);
            break;
        case MOCA_CONV_CODE_NAME:
            append(out, size, &used, "hexadecimal code to name: ");
            names_text(k, true, out, size, &used);
            break;
        case MOCA_CONV_NAME:
            append(out, size, &used, "one of ");
            names_text(k, false, out, size, &used);
            break;
        case MOCA_CONV_LIST:
            append(out, size, &used, "comma-separated numbers, each %" PRId64 " to %" PRId64, k->min, k->max);
            break;
        case MOCA_CONV_SECRET: append(out, size, &used, "secured: always the empty string"); break;
        case MOCA_CONV_WITHHELD:
            append(out, size, &used, "never published: the module gives a fixed text that is no value of it");
            break;
        case MOCA_CONV_NONE: append(out, size, &used, "not published: no parameter in the data model"); break;
    }
    return out;
}
