// SPDX-License-Identifier: BSD-2-Clause-Patent
/*
 * The MoCA data model's plugin for the libamx runtime (amxrt).
 *
 * At start it loads the control module through libamxm, creates a record for
 * each chip interface its configuration names and an Interface instance for
 * it, and fills the data model from the module's answers. The model is then
 * refreshed on the event loop, once per cache period of the module: every
 * report is read again, and table instances are added and removed as nodes
 * join and leave and flows come and go. Bus reads are answered from the data
 * model without a module call.
 *
 * Values are converted by the schema of the module's answers, the same code
 * moca-host's TR-181 view uses. A client's write of a setting the module
 * applies goes to set-cfg-info, one key per call; a chip failure fails the
 * transaction, so the parameter keeps its old value. The pass phrase is handed
 * on and never stored: it always reads empty.
 *
 * Configuration (%config):
 *   moca = { module = "PATH/mxl-moca-ctrl.so", interfaces = [ "moca0", ... ],
 *            refresh-interval = 10000 };
 */
#include <regex.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <amxc/amxc.h>
#include <amxp/amxp.h>
#include <amxd/amxd_action.h>
#include <amxd/amxd_dm.h>
#include <amxd/amxd_object.h>
#include <amxd/amxd_parameter.h>
#include <amxd/amxd_transaction.h>
#include <amxm/amxm.h>
#include <amxo/amxo.h>
#include <amxp/amxp_timer.h>

#include "moca_schema.h"

#define MOCA_EXPORT __attribute__((visibility("default")))

/* What the ODL names (the runtime looks them up with a leading underscore):
 * the entry point and the actions. */
#define MOCA_ACTION(name)                                                                                              \
    MOCA_EXPORT amxd_status_t name(amxd_object_t* object, amxd_param_t* param, amxd_action_t reason,                   \
                                   const amxc_var_t* const args, amxc_var_t* const retval, void* priv)
MOCA_EXPORT int _moca_main(int reason, amxd_dm_t* dm, amxo_parser_t* parser);
MOCA_ACTION(_moca_write_object);
MOCA_ACTION(_moca_write_setting);
MOCA_ACTION(_moca_check_text);

#define MODULE_ALIAS "mxl-moca-ctrl"
#define MODULE_NAMESPACE "moca-ctrl"
#define REFRESH_MS_DEFAULT 10000 /* the module's table cache period */
#define MAX_IFACES 8
#define NAME_LEN 16

typedef struct {
    char name[NAME_LEN]; /* the chip interface's name: the record's InternalName */
    uint32_t index;      /* its Interface instance */
    uint32_t network;    /* node ids in the network, by the last refresh */
} moca_iface_t;

static struct {
    amxd_dm_t* dm;
    amxm_shared_object_t* so;
    amxp_timer_t* timer;
    uint32_t refresh_ms;
    moca_iface_t ifaces[MAX_IFACES];
    uint32_t count;
    bool refreshing; /* the plugin itself is writing the model: no setting goes to the chip */
} moca;

/* The settings set-cfg-info applies. */
static const char* const settings[] = {
    "Enable",        "PreferredNC",  "PrivacyEnabledSetting", "TpcTargetRateNper", "FreqCurrentMaskSetting",
    "KeyPassphrase", "TxPowerLimit", "PowerCntlPhyTarget",    "BeaconPowerLimit"};

/* How a table's entries are chosen for publishing. */
typedef enum { PUBLISH_ACTIVE, PUBLISH_MESH, PUBLISH_BRIDGE, PUBLISH_FLOW, PUBLISH_ALL } publish_t;

typedef struct {
    const char* function;
    const char* table;           /* relative to the Interface instance */
    const char* number_function; /* the function that gives the table's size, or NULL */
    const char* number_key;
    publish_t publish;
} moca_table_t;

static const moca_table_t tables[] = {
    {"retrieve-node-info", "AssociatedDevice.", NULL, NULL, PUBLISH_ACTIVE},
    {"retrieve-mesh-info", "Mesh.", NULL, NULL, PUBLISH_MESH},
    {"retrieve-bridge-info", "Bridge.", NULL, NULL, PUBLISH_BRIDGE},
    {"retrieve-rlapm-info", "Rlapm.", "retrieve-rlapm-number", "RlapmNumberOfEntries", PUBLISH_ALL},
    {"retrieve-sapm-info", "Sapm.", "retrieve-sapm-number", "SapmNumberOfEntries", PUBLISH_ALL},
    {"retrieve-flow-info", "QoS.FlowStats.", NULL, NULL, PUBLISH_FLOW},
};

static const char* const reports[] = {"retrieve-static-info", "retrieve-cfg-info", "retrieve-dyn-info",
                                      "retrieve-stats-info", "retrieve-qos-info"};

static int call(const char* function, const char* ifname, uint32_t id, amxc_var_t* ret) {
    amxc_var_t args;
    amxc_var_init(&args);
    amxc_var_set_type(&args, AMXC_VAR_ID_HTABLE);
    amxc_var_add_key(cstring_t, &args, "InternalName", ifname);
    if(id != 0) {
        amxc_var_add_key(uint32_t, &args, "Id", id);
    }
    int rc = amxm_so_execute_function(moca.so, MODULE_NAMESPACE, function, &args, ret);
    amxc_var_clean(&args);
    return rc;
}

/* A result value as the schema takes it. */
static bool given_value(const amxc_var_t* v, moca_schema_value_t* out) {
    switch(amxc_var_type_of(v)) {
        case AMXC_VAR_ID_BOOL: *out = moca_schema_bool(amxc_var_constcast(bool, v)); return true;
        case AMXC_VAR_ID_UINT32:
        case AMXC_VAR_ID_UINT64: *out = moca_schema_uint(amxc_var_dyncast(uint64_t, v)); return true;
        case AMXC_VAR_ID_INT32:
        case AMXC_VAR_ID_INT64: *out = moca_schema_int(amxc_var_dyncast(int64_t, v)); return true;
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING: *out = moca_schema_text(amxc_var_constcast(cstring_t, v)); return true;
        default: return false;
    }
}

static void set_published(amxd_trans_t* trans, const char* name, const moca_schema_published_t* p) {
    switch(p->kind) {
        case MOCA_VALUE_BOOL: amxd_trans_set_value(bool, trans, name, p->boolean); break;
        case MOCA_VALUE_UINT: amxd_trans_set_value(uint64_t, trans, name, p->uint); break;
        case MOCA_VALUE_INT: amxd_trans_set_value(int64_t, trans, name, p->sint); break;
        case MOCA_VALUE_TEXT: amxd_trans_set_value(cstring_t, trans, name, p->text); break;
    }
}

/* The parameter's name: the part after the last dot. */
static const char* param_name(const char* param) {
    const char* dot = strrchr(param, '.');
    return dot == NULL ? param : dot + 1;
}

/* Adds the published values of one answer to the transaction, on the object it
 * has selected. A value the schema cannot publish is left as it was. */
static void add_values(amxd_trans_t* trans, const moca_schema_function_t* f, const amxc_var_t* ret) {
    for(uint32_t i = 0; i < f->key_count; ++i) {
        const moca_schema_key_t* k = &f->keys[i];
        const char* name = k->param == NULL ? NULL : param_name(k->param);
        /* Counters are the runtime's own, kept with the instances. */
        if(name == NULL || strstr(name, "NumberOfEntries") != NULL) {
            continue;
        }
        moca_schema_value_t given;
        moca_schema_published_t published;
        const amxc_var_t* v = amxc_var_get_key(ret, k->key, AMXC_VAR_FLAG_DEFAULT);
        if(v == NULL || !given_value(v, &given) ||
           moca_schema_convert(k, &given, &published, NULL, 0) != MOCA_SCHEMA_PUBLISHED) {
            continue;
        }
        set_published(trans, name, &published);
    }
}

static void apply(amxd_trans_t* trans, const char* what) {
    moca.refreshing = true;
    amxd_status_t status = amxd_trans_apply(trans, moca.dm);
    moca.refreshing = false;
    if(status != amxd_status_ok) {
        fprintf(stderr, "moca: updating %s failed (%d)\n", what, status);
    }
    amxd_trans_clean(trans);
}

static void trans_at(amxd_trans_t* trans, const moca_iface_t* iface, const char* rel) {
    amxd_trans_init(trans);
    amxd_trans_set_attr(trans, amxd_tattr_change_ro, true);
    amxd_trans_select_pathf(trans, "MoCA.Interface.%u.%s", iface->index, rel);
}

static void refresh_report(moca_iface_t* iface, const char* function) {
    const moca_schema_function_t* f = moca_schema_function(function);
    amxc_var_t ret;
    amxc_var_init(&ret);
    if(call(function, iface->name, 0, &ret) == 0) {
        /* One answer feeds one object: its published keys'. */
        const char* param = "";
        for(uint32_t i = 0; i < f->key_count && param[0] == '\0'; ++i) {
            param = f->keys[i].param != NULL ? f->keys[i].param : "";
        }
        const char* dot = strrchr(param, '.');
        char rel[32] = "";
        if(dot != NULL && (size_t) (dot - param + 1) < sizeof(rel)) {
            memcpy(rel, param, (size_t) (dot - param + 1));
        }
        amxd_trans_t trans;
        trans_at(&trans, iface, rel);
        add_values(&trans, f, &ret);
        apply(&trans, function);
        if(strcmp(function, "retrieve-dyn-info") == 0) {
            const char* status = GET_CHAR(&ret, "Status");
            iface->network = status != NULL && strcmp(status, "Up") == 0 ? 1u << (GET_UINT32(&ret, "NodeID") & 31) : 0;
        }
    }
    amxc_var_clean(&ret);
}

static bool published(const moca_table_t* t, moca_iface_t* iface, const amxc_var_t* ret) {
    switch(t->publish) {
        case PUBLISH_ACTIVE:
            if(GET_BOOL(ret, "Active")) {
                iface->network |= 1u << (GET_UINT32(ret, "NodeID") & 31);
                return true;
            }
            return false;
        case PUBLISH_MESH: {
            uint32_t tx = GET_UINT32(ret, "TxNodeIndex");
            uint32_t rx = GET_UINT32(ret, "RxNodeIndex");
            return tx != rx && tx < 32 && rx < 32 && (iface->network >> tx & 1u) != 0 &&
                   (iface->network >> rx & 1u) != 0;
        }
        case PUBLISH_BRIDGE: {
            const char* macs = GET_CHAR(ret, "MACAddresses");
            return macs != NULL && macs[0] != '\0';
        }
        case PUBLISH_FLOW: {
            const char* id = GET_CHAR(ret, "FlowID");
            return id != NULL && id[0] != '\0';
        }
        case PUBLISH_ALL: return true;
    }
    return false;
}

/* The entries that hold something become instances numbered by their Id; the
 * others are removed. An entry the module fails to read stays as it was. */
static void refresh_table(moca_iface_t* iface, const moca_table_t* t) {
    const moca_schema_function_t* f = moca_schema_function(t->function);
    uint32_t count = f->id_max;
    amxc_var_t ret;
    amxc_var_init(&ret);
    if(t->number_function != NULL) {
        count = 0;
        if(call(t->number_function, iface->name, 0, &ret) == 0) {
            count = GET_UINT32(&ret, t->number_key);
            count = count < f->id_max ? count : f->id_max;
        }
    }
    amxd_object_t* templ = amxd_dm_findf(moca.dm, "MoCA.Interface.%u.%s", iface->index, t->table);
    for(uint32_t id = 1; templ != NULL && id <= f->id_max; ++id) {
        amxd_object_t* inst = amxd_object_get_instance(templ, NULL, id);
        amxd_trans_t trans;
        int rc = -1;
        amxc_var_clean(&ret);
        if(id <= count) {
            rc = call(t->function, iface->name, id, &ret);
        }
        if(rc == 0 && published(t, iface, &ret)) {
            trans_at(&trans, iface, t->table);
            if(inst == NULL) {
                amxd_trans_add_inst(&trans, id, NULL);
            } else {
                amxd_trans_select_object(&trans, inst);
            }
            add_values(&trans, f, &ret);
            apply(&trans, t->function);
        } else if(inst != NULL && (rc == 0 || id > count)) {
            trans_at(&trans, iface, t->table);
            amxd_trans_del_inst(&trans, id, NULL);
            apply(&trans, t->function);
        }
    }
    amxc_var_clean(&ret);
}

static void refresh(amxp_timer_t* timer, void* priv) {
    (void) timer;
    (void) priv;
    for(uint32_t i = 0; i < moca.count; ++i) {
        moca_iface_t* iface = &moca.ifaces[i];
        for(size_t r = 0; r < sizeof(reports) / sizeof(reports[0]); ++r) {
            refresh_report(iface, reports[r]);
        }
        for(size_t t = 0; t < sizeof(tables) / sizeof(tables[0]); ++t) {
            refresh_table(iface, &tables[t]);
        }
    }
    /* Started after the refresh, so that the module's table caches, filled
     * during it, have expired by the next one: no value is older than one
     * period and the time a refresh takes. */
    amxp_timer_start(moca.timer, moca.refresh_ms);
}

static const moca_iface_t* iface_of(amxd_object_t* object) {
    amxd_object_t* templ = amxd_object_get_parent(object);
    if(amxd_object_get_type(object) != amxd_object_instance || templ == NULL || amxd_object_get_parent(templ) == NULL ||
       strcmp(amxd_object_get_name(templ, AMXD_OBJECT_NAMED), "Interface") != 0 ||
       strcmp(amxd_object_get_name(amxd_object_get_parent(templ), AMXD_OBJECT_NAMED), "MoCA") != 0) {
        return NULL;
    }
    for(uint32_t i = 0; i < moca.count; ++i) {
        if(moca.ifaces[i].index == amxd_object_get_index(object)) {
            return &moca.ifaces[i];
        }
    }
    return NULL;
}

/* Write action of every object: a read-only parameter is the plugin's alone.
 * The runtime lets a client at the bus's trusted level write one; here none
 * may, whatever its level. */
MOCA_ACTION(_moca_write_object) {
    if(reason == action_object_write && !moca.refreshing) {
        amxc_var_for_each(value, GET_ARG(args, "parameters")) {
            amxd_param_t* def = amxd_object_get_param_def(object, amxc_var_key(value));
            if(def != NULL && amxd_param_is_attr_set(def, amxd_pattr_read_only)) {
                return amxd_status_read_only;
            }
        }
    }
    return amxd_action_object_write(object, param, reason, args, retval, priv);
}

/* Write action of the read-write parameters. The plugin's own updates are
 * stored as they are; a client's write of a setting the module applies goes to
 * the chip first, and only a success changes the parameter. The module applies
 * no other parameter: such a write is refused. */
MOCA_ACTION(_moca_write_setting) {
    if(reason != action_param_write) {
        return amxd_status_function_not_implemented;
    }
    if(moca.refreshing) {
        return amxd_action_param_write(object, param, reason, args, retval, priv);
    }
    const char* name = amxd_param_get_name(param);
    const moca_iface_t* iface = iface_of(object);
    bool applied = false;
    for(size_t i = 0; i < sizeof(settings) / sizeof(settings[0]); ++i) {
        applied = applied || strcmp(name, settings[i]) == 0;
    }
    if(iface == NULL || !applied || moca.so == NULL) {
        return amxd_status_invalid_action;
    }
    const moca_schema_key_t* key = moca_schema_key(moca_schema_function("retrieve-cfg-info"), name);
    amxc_var_t cfg;
    amxc_var_t ret;
    amxc_var_init(&cfg);
    amxc_var_init(&ret);
    amxc_var_set_type(&cfg, AMXC_VAR_ID_HTABLE);
    amxc_var_add_key(cstring_t, &cfg, "InternalName", iface->name);
    amxc_var_t* value = amxc_var_add_new_key(&cfg, name);
    amxc_var_convert(value, args,
                     key->type == MOCA_TYPE_BOOL     ? AMXC_VAR_ID_BOOL
                     : key->type == MOCA_TYPE_UINT32 ? AMXC_VAR_ID_UINT32
                                                     : AMXC_VAR_ID_CSTRING);
    int rc = amxm_so_execute_function(moca.so, MODULE_NAMESPACE, "set-cfg-info", &cfg, &ret);
    amxc_var_clean(&cfg);
    amxc_var_clean(&ret);
    if(rc != 0) {
        fprintf(stderr, "moca: %s: set-cfg-info %s failed (%d)\n", iface->name, name, rc);
        return amxd_status_unknown_error;
    }
    /* Read everything again soon: the chip may hold the setting otherwise than
     * written (cut to its field), and a started or stopped link changes the rest. */
    amxp_timer_start(moca.timer, 0);
    if(key->conv == MOCA_CONV_SECRET) {
        return amxd_status_ok; /* handed on, never kept */
    }
    return amxd_action_param_write(object, param, reason, args, retval, priv);
}

/* Validate action of a writable text: its length within [min, max] and the
 * whole text matching the pattern (the data model's notation; \d is a digit).
 * Before the plugin starts, the runtime checks the definition's default (an
 * empty text): that is no client's write, and is let through. */
MOCA_ACTION(_moca_check_text) {
    amxd_status_t status = amxd_action_param_validate(object, param, reason, args, retval, priv);
    const amxc_var_t* rule = (const amxc_var_t*) priv;
    if(status != amxd_status_ok || reason != action_param_validate || moca.dm == NULL) {
        return status;
    }
    const char* pattern = GET_CHAR(rule, "pattern");
    char expr[256] = "^(";
    size_t n = 2;
    for(const char* p = pattern == NULL ? "" : pattern; *p != '\0' && n < sizeof(expr) - 8; ++p) {
        if(p[0] == '\\' && p[1] == 'd') {
            memcpy(expr + n, "[0-9]", 5);
            n += 5;
            ++p;
        } else {
            expr[n++] = *p;
        }
    }
    memcpy(expr + n, ")$", 3);
    char* text = amxc_var_dyncast(cstring_t, args);
    size_t length = text == NULL ? 0 : strlen(text);
    regex_t re;
    status = amxd_status_invalid_value;
    if(text != NULL && length >= GET_UINT32(rule, "min") && length <= GET_UINT32(rule, "max") &&
       regcomp(&re, expr, REG_EXTENDED | REG_NOSUB) == 0) {
        if(regexec(&re, text, 0, NULL, 0) == 0) {
            status = amxd_status_ok;
        }
        regfree(&re);
    }
    free(text);
    return status;
}

static int start(amxd_dm_t* dm, amxo_parser_t* parser) {
    amxc_var_t* config = amxo_parser_get_config(parser, "moca");
    const char* path = GET_CHAR(config, "module");
    const amxc_var_t* names = GET_ARG(config, "interfaces");
    moca.dm = dm;
    moca.refresh_ms = GET_ARG(config, "refresh-interval") != NULL ? GET_UINT32(config, "refresh-interval") : 0;
    if(moca.refresh_ms == 0) {
        moca.refresh_ms = REFRESH_MS_DEFAULT;
    }
    if(path == NULL || amxm_so_open(&moca.so, MODULE_ALIAS, path) != 0) {
        fprintf(stderr, "moca: cannot load the module %s\n", path == NULL ? "(moca.module not set)" : path);
        return -1;
    }
    amxc_var_for_each(name, names) {
        const char* text = amxc_var_constcast(cstring_t, name);
        moca_iface_t* iface = &moca.ifaces[moca.count];
        if(text == NULL || moca.count == MAX_IFACES || strlen(text) >= NAME_LEN) {
            fprintf(stderr, "moca: interface %s left out\n", text == NULL ? "(not a text)" : text);
            continue;
        }
        amxc_var_t ret;
        amxc_var_init(&ret);
        int rc = call("create-moca-iface", text, 0, &ret);
        amxc_var_clean(&ret);
        if(rc != 0) {
            fprintf(stderr, "moca: %s: create-moca-iface failed (%d)\n", text, rc);
            continue;
        }
        strcpy(iface->name, text);
        iface->index = ++moca.count;
        amxd_trans_t trans;
        amxd_trans_init(&trans);
        amxd_trans_set_attr(&trans, amxd_tattr_change_ro, true);
        amxd_trans_select_pathf(&trans, "MoCA.Interface.");
        amxd_trans_add_inst(&trans, iface->index, NULL);
        amxd_trans_set_value(cstring_t, &trans, "Name", iface->name);
        apply(&trans, "MoCA.Interface");
    }
    amxp_timer_new(&moca.timer, refresh, NULL);
    refresh(NULL, NULL);
    return 0;
}

static int stop(void) {
    amxp_timer_delete(&moca.timer);
    for(uint32_t i = 0; i < moca.count; ++i) {
        amxc_var_t ret;
        amxc_var_init(&ret);
        call("destroy-moca-iface", moca.ifaces[i].name, 0, &ret);
        amxc_var_clean(&ret);
    }
    moca.count = 0;
    if(moca.so != NULL) {
        amxm_so_close(&moca.so);
    }
    moca.dm = NULL;
    return 0;
}

MOCA_EXPORT int _moca_main(int reason, amxd_dm_t* dm, amxo_parser_t* parser) {
    switch(reason) {
        case AMXO_START: return start(dm, parser);
        case AMXO_STOP: return stop();
        default: return 0;
    }
}
