/* Every platform call the library makes, by family. */
#ifndef VEXO_PLATFORM_PLATFORM_H_
#define VEXO_PLATFORM_PLATFORM_H_

#include "vexo_platform/vexo_cloud_service.h"
#include "vexo_platform/vexo_notify.h"
#include "vexo_platform/vexo_payment.h"
#include "vexo_platform/vexo_pkce.h"
#include "vexo_platform/vexo_scheduler.h"
#include "vexo_platform/vexo_zone.h"
#include "vexo_platform/vlib_device.h"
#include "vexo_platform/vlib_error.h"
#include "vexo_platform/vlib_file.h"
#include "vexo_platform/vlib_plugin.h"
#include "vexo_platform/vlib_process.h"
#include "vexo_platform/vlib_string.h"

#endif /* VEXO_PLATFORM_PLATFORM_H_ */
