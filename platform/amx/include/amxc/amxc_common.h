#ifndef __AMXC_COMMON_H__
#define __AMXC_COMMON_H__

#include <stddef.h>

/* Address of the structure of type `type` whose member `member` lives at `addr`. */
#define amxc_container_of(addr, type, member) ((type*) (((char*) (addr)) - offsetof(type, member)))

#endif /* __AMXC_COMMON_H__ */
