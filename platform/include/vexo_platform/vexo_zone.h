/* Time zones. */
#ifndef VEXO_PLATFORM_VEXO_ZONE_H_
#define VEXO_PLATFORM_VEXO_ZONE_H_

#include <stddef.h>

#include "vexo_platform/vlib_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The configured zone's name into `buf`; *size_needed gets the size it needs (name and
 * NUL). 0 on success, < 0 on failure (also when `buf` is too small). */
int VEXOZoneGet(char *buf, size_t size, int *size_needed);
/* Sets the properties of `zone` into *info (at least "nameInTZDB", the zone database
 * name). Returns the count of properties set (> 0), or <= 0 on failure. */
int VEXOZoneGetInfo(const char *zone, PVLIBSZHASH *info);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VEXO_ZONE_H_ */
