/* A C11 program using the libamx API the way its documentation writes it:
 * variants, lists, timers and module loading. Exits non-zero on a mismatch. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <amxc/amxc.h>
#include <amxc/amxc_macros.h>
#include <amxc/amxc_common.h>
#include <amxc/amxc_variant.h>
#include <amxc/amxc_llist.h>
#include <amxc/amxc_htable.h>
#include <amxc/amxc_array.h>
#include <amxc/amxc_timestamp.h>
#include <amxm/amxm.h>
#include <amxp/amxp.h>
#include <amxp/amxp_timer.h>
#include <amxhost/amxhost.h>
#include <timerclock/timerclock.h>

static int failures = 0;

#define CHECK(cond)                                                                                                    \
    do {                                                                                                               \
        if(!(cond)) {                                                                                                  \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);                                   \
            failures++;                                                                                                \
        }                                                                                                              \
    } while(0)

typedef struct _entry {
    int value;
    amxc_llist_it_t it;
} entry_t;

static void entry_free(amxc_llist_it_t* it) {
    free(amxc_llist_it_get_data(it, entry_t, it));
}

static void on_timer(amxp_timer_t* timer, void* priv) {
    (void) timer;
    *(int*) priv += 1;
}

static int build_result(UNUSED amxc_var_t* ret) {
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    when_null(amxc_var_add_key(cstring_t, ret, "Name", "moca0"), exit);
    amxc_var_add_key(csv_string_t, ret, "Nodes", "1,2");
    amxc_var_add_key(bool, ret, "Enable", true);
    amxc_var_add_key(uint32_t, ret, "Freq", 1150);
    amxc_var_add_key(int32_t, ret, "Power", -3);
    amxc_var_add_key(uint64_t, ret, "Bytes", UINT64_MAX);
    amxc_var_add(uint32_t, amxc_var_add_key(amxc_llist_t, ret, "List", NULL), 9);
    return 0;
exit:
    return -1;
}

static void variants(void) {
    static const amxc_var_type_id_t types[] = {AMXC_VAR_ID_CSTRING, AMXC_VAR_ID_CSV_STRING, AMXC_VAR_ID_BOOL,
                                               AMXC_VAR_ID_UINT32,  AMXC_VAR_ID_INT32,      AMXC_VAR_ID_UINT64,
                                               AMXC_VAR_ID_LIST};
    amxc_var_t* ret = NULL;
    amxc_var_t args;
    int count = 0;
    CHECK(amxc_var_new(&ret) == 0 && build_result(ret) == 0);
    CHECK(strcmp(GET_CHAR(ret, "Name"), "moca0") == 0);
    CHECK(GET_BOOL(ret, "Enable") && GET_UINT32(ret, "Freq") == 1150 && GET_INT32(ret, "Power") == -3);
    CHECK(amxc_var_constcast(uint64_t, GET_ARG(ret, "Bytes")) == UINT64_MAX);
    CHECK(GETP_UINT32(ret, "List.0") == 9);
    CHECK(GET_CHAR(ret, "Freq") == NULL);
    CHECK(amxc_var_add_key(bool, ret, "Enable", false) == NULL);

    const amxc_htable_t* table = amxc_var_constcast(amxc_htable_t, ret);
    amxc_htable_for_each(hit, table) {
        amxc_var_t* value = amxc_var_from_htable_it(hit);
        CHECK(amxc_var_get_parent(value) == ret && amxc_var_type_of(value) == types[count]);
        CHECK(strcmp(amxc_htable_it_get_key(hit), amxc_var_key(value)) == 0);
        count++;
    }
    CHECK(count == 7 && amxc_htable_size(table) == 7);

    amxc_var_init(&args);
    amxc_var_set(ssv_string_t, &args, "a b");
    cstring_t copy = amxc_var_dyncast(cstring_t, &args);
    CHECK(strcmp(copy, "a b") == 0 && strcmp(amxc_var_constcast(cstring_t, &args), "a b") == 0);
    free(copy);
    amxc_var_set(fd_t, &args, 1);
    CHECK(amxc_var_type_of(&args) == AMXC_VAR_ID_FD);
    amxc_var_clean(&args);
    CHECK(amxc_var_is_null(&args));

    amxc_var_set(uint32_t, GET_ARG(ret, "Power"), 5); /* a setter updates an entry in place */
    CHECK(GET_UINT32(ret, "Power") == 5 && strcmp(amxc_var_key(GETI_ARG(ret, 4)), "Power") == 0);
    /* The current child may be deleted inside the loop. */
    amxc_var_for_each(child, ret) {
        if(amxc_var_type_of(child) != AMXC_VAR_ID_UINT32) {
            amxc_var_delete(&child);
        }
    }
    CHECK(amxc_htable_size(table) == 2 && GETI_UINT32(ret, 1) == 5);
    amxc_var_delete(&ret);
    CHECK(ret == NULL);
}

static void lists(void) {
    amxc_llist_t* list = NULL;
    CHECK(amxc_llist_new(&list) == 0);
    for(int i = 0; i < 4; i++) {
        entry_t* e = calloc(1, sizeof(entry_t));
        e->value = i;
        amxc_llist_append(list, &e->it);
    }
    amxc_llist_for_each(it, list) {
        entry_t* e = amxc_container_of(it, entry_t, it);
        if(e->value == 1) {
            amxc_llist_it_take(it);
            free(e);
        }
    }
    CHECK(amxc_llist_size(list) == 3);
    amxc_llist_it_clean(amxc_llist_get_first(list), entry_free);
    CHECK(amxc_llist_size(list) == 2);
    amxc_llist_delete(&list, entry_free);
    CHECK(list == NULL);
}

static void timers(void) {
    amxp_timer_t* timer = NULL;
    int fired = 0;
    timerclock_use_virtual(true);
    CHECK(amxp_timer_new(&timer, on_timer, &fired) == 0);
    CHECK(amxp_timer_start(timer, 100) == 0 && amxp_timer_get_state(timer) == amxp_timer_running);
    timerclock_advance_ms(100);
    amxp_timers_calculate();
    CHECK(amxp_timer_get_state(timer) == amxp_timer_expired);
    amxp_timers_check();
    CHECK(fired == 1 && amxp_timer_get_state(timer) == amxp_timer_off);
    amxp_timer_delete(&timer);
    CHECK(timer == NULL);
    amxp_timers_check();
    timerclock_use_virtual(false);
}

static void modules(void) {
    amxm_shared_object_t* so = NULL;
    amxc_var_t* args = NULL;
    amxc_var_t* ret = NULL;
    CHECK(amxm_so_open(&so, "c-test", AMX_TEST_MODULE) == 0);
    amxc_var_new(&args);
    amxc_var_new(&ret);
    amxc_var_set_type(args, AMXC_VAR_ID_HTABLE);
    amxc_var_add_key(cstring_t, args, "InternalName", "moca0");
    CHECK(amxm_execute_function("c-test", "test-mod", "echo", args, ret) == 0);
    CHECK(strcmp(GET_CHAR(ret, "InternalName"), "moca0") == 0);
    amxm_callback_t cb = amxhost_get_callback("c-test", "test-mod", "nulls");
    CHECK(cb != NULL && cb("nulls", NULL, ret) == 1);
    CHECK(amxm_so_close(&so) == 0 && so == NULL);
    amxc_var_delete(&args);
    amxc_var_delete(&ret);
}

int main(void) {
    variants();
    lists();
    timers();
    modules();
    if(failures != 0) {
        fprintf(stderr, "%d check(s) failed\n", failures);
        return 1;
    }
    printf("all checks passed\n");
    return 0;
}
