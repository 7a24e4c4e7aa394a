#ifndef __AMXC_TIMESTAMP_H__
#define __AMXC_TIMESTAMP_H__

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Point in time: seconds and nanoseconds since the epoch (UTC), plus the
 * local offset from UTC in minutes. */
typedef struct _timestamp {
    int64_t sec;
    int32_t nsec;
    int16_t offset;
} amxc_ts_t;

#ifdef __cplusplus
}
#endif

#endif /* __AMXC_TIMESTAMP_H__ */
