// SPDX-License-Identifier: BSD-2-Clause-Patent
/*
 * moca_schema.h: what the MoCA control module "moca-ctrl" answers, as data.
 *
 * For each of the module's registered functions: whether it answers a table of
 * result keys, a boolean or nothing, and the range of the "Id" argument of the
 * functions that read a table entry. For each result key, in the order the
 * module documents them: its variant type, its unit, and the Broadband Forum
 * TR-181 parameter under "Device.MoCA.Interface.{i}." that a MoCA manager
 * publishes it as, with the parameter's access and how the value is converted.
 *
 * The conversions are here too, on plain values, so that every program that
 * publishes the module's answers converts them the same way:
 *
 *     const moca_schema_function_t* f = moca_schema_function("retrieve-dyn-info");
 *     const moca_schema_key_t* k = moca_schema_key(f, "CurrentOperFreq");
 *     moca_schema_value_t given = moca_schema_uint(1150);   // MHz, from the module
 *     moca_schema_published_t out;
 *     char why[128];
 *     switch(moca_schema_convert(k, &given, &out, why, sizeof(why))) {
 *     case MOCA_SCHEMA_PUBLISHED: // out.kind == MOCA_VALUE_UINT, out.uint == 1150000000 (Hz)
 *     case MOCA_SCHEMA_ABSENT:    // nothing to publish: leave the parameter out quietly
 *     case MOCA_SCHEMA_INVALID:   // leave it out and say why, e.g.
 *                                 // "times 1000000 exceeds 4294967295"
 *     }
 *
 * Plain C11, no allocation, no global state but constant tables: the library
 * links into C and C++ programs alike and needs no C++ runtime.
 */
#ifndef MOCA_SCHEMA_H
#define MOCA_SCHEMA_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The variant type of a result value, as libamxc names it. */
typedef enum {
    MOCA_TYPE_NONE = 0, /* a function that answers nothing: ret is not used */
    MOCA_TYPE_BOOL,
    MOCA_TYPE_UINT32,
    MOCA_TYPE_INT32,
    MOCA_TYPE_UINT64,
    MOCA_TYPE_CSTRING,
    MOCA_TYPE_CSV_STRING,
    MOCA_TYPE_HTABLE, /* a function's answer: a table of result keys */
} moca_schema_type_t;

/* How a result value becomes the value of its TR-181 parameter. */
typedef enum {
    MOCA_CONV_NONE = 0,  /* no parameter in the data model: not published */
    MOCA_CONV_COPY,      /* as given (bool, number or text); a number within [min, max] if a range is set */
    MOCA_CONV_TEXT,      /* a text of at most max characters */
    MOCA_CONV_SCALE,     /* an unsigned number times factor (MHz to Hz, Mbps to Kbps), at most max */
    MOCA_CONV_NEGATE,    /* a level given as its magnitude below 0 dBm, published as a negative number */
    MOCA_CONV_HEX,       /* a hexadecimal number as text ("0x" allowed), published as hexBinary of bytes bytes */
    MOCA_CONV_CODE_NAME, /* an enumeration code as hexadecimal text, published as the code's name */
    MOCA_CONV_NAME,      /* a text that must be one of the enumeration's names */
    MOCA_CONV_LIST,      /* comma-separated decimal numbers, each within [min, max] */
    MOCA_CONV_SECRET,    /* a secured parameter: always published as the empty string */
    MOCA_CONV_WITHHELD,  /* the module gives a fixed placeholder that is no value of the parameter: never published */
} moca_schema_conv_t;

/* The access of a parameter, as the TR-181 definition gives it. */
typedef enum {
    MOCA_ACCESS_NONE = 0, /* no parameter */
    MOCA_ACCESS_READ_ONLY,
    MOCA_ACCESS_READ_WRITE,
} moca_schema_access_t;

/* How a text rendering shows a number or text, beside its unit. */
typedef enum {
    MOCA_SHOW_PLAIN = 0,  /* the value, then the unit if there is one */
    MOCA_SHOW_BELOW_ZERO, /* a magnitude below 0 dBm: "12 (-12 dBm)" */
    MOCA_SHOW_DURATION,   /* seconds, also as days to seconds */
    MOCA_SHOW_RUNS,       /* a comma-separated list, as runs of equal values */
} moca_schema_show_t;

/* One name of an enumeration and the code the module gives for it. */
typedef struct {
    uint32_t code;
    const char* name;
} moca_schema_name_t;

/* One result key of a function. */
typedef struct {
    const char* key;         /* the key in the result table */
    moca_schema_type_t type; /* its variant type */
    const char* unit;        /* unit of the module's value as people read it ("Mbps", "MHz"); "" for none */
    moca_schema_show_t show; /* how a text rendering shows it */
    /* Position among the interface's own parameters (or its statistics) in the
     * order a TR-181 interface object lists them, from 1; 0 for keys listed after
     * these, in the function's order. Orders a listing that merges functions. */
    uint8_t rank;

    /* The TR-181 parameter, relative to "Device.MoCA.Interface.{i}.": "NodeID",
     * "AssociatedDevice.{i}.PHYTxRate" where "{i}" is the entry's Id. NULL when
     * the key has none (conv is then MOCA_CONV_NONE). Every other text of a row
     * is set, "" when empty. */
    const char* param;
    moca_schema_access_t access;
    moca_schema_conv_t conv;
    const char* param_unit; /* unit of the published value, as the data model gives it; "" for none */
    /* Bounds of the published number, or of a text's length (MOCA_CONV_TEXT: min
     * 0, max the longest); a range is set when min < max. */
    int64_t min;
    int64_t max;
    uint64_t factor;                 /* MOCA_CONV_SCALE: published = given * factor */
    uint32_t bytes;                  /* MOCA_CONV_HEX: width of the hexBinary value */
    const moca_schema_name_t* names; /* MOCA_CONV_CODE_NAME, MOCA_CONV_NAME: the enumeration */
    uint32_t name_count;
    const char* given_unit; /* MOCA_CONV_SCALE: the unit the module gives ("MHz" for Hz); "" otherwise */
} moca_schema_key_t;

/* One registered function of the module. */
typedef struct {
    const char* name;          /* as registered: "retrieve-node-info" */
    moca_schema_type_t answer; /* MOCA_TYPE_HTABLE, MOCA_TYPE_BOOL or MOCA_TYPE_NONE */
    /* The functions that read one table entry take an "Id" from 1 to id_max (the
     * table's size in the module); 0 for the others. */
    uint32_t id_max;
    const moca_schema_key_t* keys; /* MOCA_TYPE_HTABLE: the result keys in documented order */
    uint32_t key_count;
} moca_schema_function_t;

/* The module's eighteen functions in registration order. */
extern const moca_schema_function_t moca_schema_functions[];
extern const uint32_t moca_schema_function_count;

/* A function by its registered name, or NULL. */
const moca_schema_function_t* moca_schema_function(const char* name);

/* A result key of a function by name, or NULL (also for a NULL function). */
const moca_schema_key_t* moca_schema_key(const moca_schema_function_t* function, const char* key);

/* The key published as a TR-181 parameter (relative to "Device.MoCA.Interface.{i}.",
 * entries written "{i}"), or NULL; *function, if not NULL, receives its function. */
const moca_schema_key_t* moca_schema_param(const char* param, const moca_schema_function_t** function);

/* The kind of a plain value. */
typedef enum {
    MOCA_VALUE_BOOL,
    MOCA_VALUE_UINT, /* any non-negative integer */
    MOCA_VALUE_INT,  /* a negative integer (or any, where the type is signed) */
    MOCA_VALUE_TEXT,
} moca_value_kind_t;

/* A value the module gave: the payload of a result variant. */
typedef struct {
    moca_value_kind_t kind;
    bool boolean;
    uint64_t uint;
    int64_t sint;
    const char* text; /* MOCA_VALUE_TEXT: terminated, not NULL */
} moca_schema_value_t;

/* Room for the longest published text: a SAPM entry's margin list. */
#define MOCA_SCHEMA_TEXT_SIZE 1025

/* A published value. */
typedef struct {
    moca_value_kind_t kind;
    bool boolean;
    uint64_t uint;
    int64_t sint;
    char text[MOCA_SCHEMA_TEXT_SIZE];
} moca_schema_published_t;

moca_schema_value_t moca_schema_bool(bool value);
moca_schema_value_t moca_schema_uint(uint64_t value);
moca_schema_value_t moca_schema_int(int64_t value); /* non-negative values become MOCA_VALUE_UINT */
moca_schema_value_t moca_schema_text(const char* value);

/* What a conversion came to. */
typedef enum {
    MOCA_SCHEMA_PUBLISHED = 0, /* *published holds the parameter's value */
    /* Nothing to publish, and nothing wrong: the key has no parameter
     * (MOCA_CONV_NONE), its value is withheld (MOCA_CONV_WITHHELD), or a mask
     * (MOCA_CONV_HEX) is empty because the module holds none. */
    MOCA_SCHEMA_ABSENT,
    /* The value cannot be published rightly: out of range, not hexadecimal, a
     * code without a name, a text too long. */
    MOCA_SCHEMA_INVALID,
} moca_schema_outcome_t;

/* Converts a given value by its key's rule. Unless the outcome is
 * MOCA_SCHEMA_PUBLISHED, why receives the reason (terminated, cut to
 * why_size; why may be NULL). */
moca_schema_outcome_t moca_schema_convert(const moca_schema_key_t* key, const moca_schema_value_t* given,
                                          moca_schema_published_t* published, char* why, size_t why_size);

/* The key's rule in words, as documentation and warnings give it ("MHz to Hz:
 * times 1000000, at most 4294967295"); cut to size. Returns out. */
char* moca_schema_rule(const moca_schema_key_t* key, char* out, size_t size);

/* The name of a variant type as libamxc gives it ("uint32", "csv_string"). */
const char* moca_schema_type_name(moca_schema_type_t type);

#ifdef __cplusplus
}
#endif

#endif
