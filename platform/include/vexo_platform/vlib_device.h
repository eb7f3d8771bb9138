/* Facts about the appliance itself. */
#ifndef VEXO_PLATFORM_VLIB_DEVICE_H_
#define VEXO_PLATFORM_VLIB_DEVICE_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The hardware serial number into `buf` (cut to size-1). 0 on success, < 0 on failure. */
int VLIBGetSerialNumber(char *buf, size_t size);
/* The appliance's HTTP user agent into `buf`. 0 on success, < 0 on failure. */
int VLIBBxinfoUserAgentGet(char *buf, size_t size);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VLIB_DEVICE_H_ */
