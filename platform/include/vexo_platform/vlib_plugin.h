/* Plugin events: other installed components react to account actions. */
#ifndef VEXO_PLATFORM_VLIB_PLUGIN_H_
#define VEXO_PLATFORM_VLIB_PLUGIN_H_

#include "vexo_platform/vlib_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Plugin actions. */
#define VLIB_PLUGIN_ACTION_PRE 4
#define VLIB_PLUGIN_ACTION_POST 5

/* Opens a context for `action_name` of `plugin` into *handle. 0 on success, < 0 on
 * failure (*handle left null). */
int VLIBPluginSDKInit(const char *plugin, const char *action_name, PVLIBPLUGIN *handle);
/* Raises `action` (4 pre, 5 post) in the context. 0 on success, < 0 when a listener
 * failed or the event could not be raised. */
int VLIBPluginAction(PVLIBPLUGIN handle, unsigned int action);
/* Closes the context; null does nothing. */
void VLIBPluginExit(PVLIBPLUGIN handle);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VLIB_PLUGIN_H_ */
