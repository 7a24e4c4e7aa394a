#ifndef __AMXC_MACROS_H__
#define __AMXC_MACROS_H__

/* Attribute shorthands and goto-style guards. Each one yields to a definition
 * the includer already made. */

#ifndef UNUSED
#define UNUSED __attribute__((unused))
#endif

#ifndef PRIVATE
#define PRIVATE __attribute__((visibility("hidden")))
#endif

#ifndef CONSTRUCTOR
#define CONSTRUCTOR __attribute__((constructor))
#endif

#ifndef DESTRUCTOR
#define DESTRUCTOR __attribute__((destructor))
#endif

#ifndef CONSTRUCTOR_LVL
#define CONSTRUCTOR_LVL(x) __attribute__((constructor(x)))
#endif

#ifndef DESTRUCTOR_LVL
#define DESTRUCTOR_LVL(x) __attribute__((destructor(x)))
#endif

#ifndef when_null
#define when_null(x, l)                                                                                                \
    if((x) == NULL) {                                                                                                  \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_not_null
#define when_not_null(x, l)                                                                                            \
    if((x) != NULL) {                                                                                                  \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_true
#define when_true(x, l)                                                                                                \
    if(x) {                                                                                                            \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_false
#define when_false(x, l)                                                                                               \
    if(!(x)) {                                                                                                         \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_failed
#define when_failed(x, l)                                                                                              \
    if((x) != 0) {                                                                                                     \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_str_empty
#define when_str_empty(x, l)                                                                                           \
    if((x) == NULL || *(x) == 0) {                                                                                     \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_null_status
#define when_null_status(x, l, c)                                                                                      \
    if((x) == NULL) {                                                                                                  \
        c;                                                                                                             \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_not_null_status
#define when_not_null_status(x, l, c)                                                                                  \
    if((x) != NULL) {                                                                                                  \
        c;                                                                                                             \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_true_status
#define when_true_status(x, l, c)                                                                                      \
    if(x) {                                                                                                            \
        c;                                                                                                             \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_false_status
#define when_false_status(x, l, c)                                                                                     \
    if(!(x)) {                                                                                                         \
        c;                                                                                                             \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_failed_status
#define when_failed_status(x, l, c)                                                                                    \
    if((x) != 0) {                                                                                                     \
        c;                                                                                                             \
        goto l;                                                                                                        \
    }
#endif

#ifndef when_str_empty_status
#define when_str_empty_status(x, l, c)                                                                                 \
    if((x) == NULL || *(x) == 0) {                                                                                     \
        c;                                                                                                             \
        goto l;                                                                                                        \
    }
#endif

#endif /* __AMXC_MACROS_H__ */
