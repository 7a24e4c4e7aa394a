/* A C11 program using the libamx API the way its documentation writes it:
 * variants, lists, timers and module loading. Exits non-zero on a mismatch. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <amxc/amxc.h>
#include <amxhost/amxhost.h>
#include <amxm/amxm.h>
#include <amxp/amxp.h>
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

static void on_timer(UNUSED amxp_timer_t* timer, void* priv) {
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
    amxc_var_t* ret = NULL;
    int count = 0;
    CHECK(amxc_var_new(&ret) == 0 && build_result(ret) == 0);
    CHECK(strcmp(GET_CHAR(ret, "Name"), "moca0") == 0 && GET_CHAR(ret, "Freq") == NULL);
    CHECK(GET_BOOL(ret, "Enable") && GET_UINT32(ret, "Freq") == 1150 && GET_INT32(ret, "Power") == -3);
    CHECK(amxc_var_constcast(uint64_t, GET_ARG(ret, "Bytes")) == UINT64_MAX && GETP_UINT32(ret, "List.0") == 9);

    const amxc_htable_t* table = amxc_var_constcast(amxc_htable_t, ret);
    amxc_htable_for_each(hit, table) {
        amxc_var_t* value = amxc_var_from_htable_it(hit);
        CHECK(amxc_var_get_parent(value) == ret && strcmp(amxc_htable_it_get_key(hit), amxc_var_key(value)) == 0);
        count++;
    }
    CHECK(count == 7 && amxc_htable_size(table) == 7);

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
    amxc_llist_it_clean(amxc_llist_get_first(list), entry_free);
    CHECK(amxc_llist_size(list) == 2 && amxc_container_of(amxc_llist_get_first(list), entry_t, it)->value == 2);
    amxc_llist_delete(&list, entry_free);
    CHECK(list == NULL);
}

static void timers(void) {
    amxp_timer_t* timer = NULL;
    int fired = 0;
    timerclock_use_virtual(true);
    CHECK(amxp_timer_new(&timer, on_timer, &fired) == 0 && amxp_timer_start(timer, 100) == 0);
    timerclock_advance_ms(100);
    amxp_timers_calculate();
    amxp_timers_check();
    CHECK(fired == 1 && amxp_timer_get_state(timer) == amxp_timer_off);
    amxp_timer_delete(&timer);
    amxp_timers_check();
    timerclock_use_virtual(false);
}

static void modules(void) {
    amxm_shared_object_t* so = NULL;
    amxc_var_t args;
    amxc_var_t ret;
    amxc_var_init(&args);
    amxc_var_init(&ret);
    CHECK(amxm_so_open(&so, "c-test", AMX_TEST_MODULE) == 0);
    amxc_var_set(cstring_t, &args, "moca0");
    CHECK(amxm_execute_function("c-test", "test-mod", "echo", &args, &ret) == 0);
    CHECK(strcmp(GET_CHAR(&ret, NULL), "moca0") == 0);
    amxm_callback_t cb = amxhost_get_callback("c-test", "test-mod", "nulls");
    CHECK(cb != NULL && cb("nulls", NULL, &ret) == 1); /* the host passes NULL through */
    CHECK(amxm_so_close(&so) == 0 && so == NULL);
    amxc_var_clean(&args);
    amxc_var_clean(&ret);
}

int main(void) {
    variants();
    lists();
    timers();
    modules();
    printf("%d check(s) failed\n", failures);
    return failures != 0;
}
