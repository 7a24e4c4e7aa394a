#ifndef __AMXC_H__
#define __AMXC_H__

#include <amxc/amxc_common.h>
#include <amxc/amxc_macros.h>
#include <amxc/amxc_llist.h>
#include <amxc/amxc_array.h>
#include <amxc/amxc_htable.h>
#include <amxc/amxc_timestamp.h>
#include <amxc/amxc_variant.h>

#endif /* __AMXC_H__ */
