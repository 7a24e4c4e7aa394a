#ifndef __AMXP_H__
#define __AMXP_H__

#include <amxc/amxc.h>
#include <amxp/amxp_timer.h>

#endif /* __AMXP_H__ */
