/* System notifications and the system event log. */
#ifndef VEXO_PLATFORM_VEXO_NOTIFY_H_
#define VEXO_PLATFORM_VEXO_NOTIFY_H_

#include "vexo_platform/vlib_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Posts the notification `tag` with its variables ("%NAME%" keys; null means none).
 * >= 0 on success, < 0 on failure. */
int VEXOSysNotifySendNotifiction(const char *tag, PVLIBSZHASH variables);
/* Writes one event to the system event log: type, level, event code and four texts.
 * 0 on success, < 0 on failure. */
int VEXOLogSet1(int type, int level, unsigned int event, const char *arg1, const char *arg2,
                const char *arg3, const char *arg4);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VEXO_NOTIFY_H_ */
