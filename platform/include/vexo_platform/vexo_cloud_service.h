/* The cloud-service library: API key, device token, MAC address, and its last error. */
#ifndef VEXO_PLATFORM_VEXO_CLOUD_SERVICE_H_
#define VEXO_PLATFORM_VEXO_CLOUD_SERVICE_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Cloud-service error numbers answered by VEXOCloudServiceGetErrorCode. */
#define VEXO_CLOUD_SERVICE_OK 0
#define VEXO_CLOUD_SERVICE_ERR_NETWORK 1
#define VEXO_CLOUD_SERVICE_ERR_OTHER 2

/* Cloud-service actions for VEXOCloudServiceActionHandler. */
#define VEXO_CLOUD_SERVICE_ACTION_RENEW_APIKEY 2

/* The stored API key into `buf`. With `flag` 1 a device without a key registers one
 * first. 0 on success, < 0 on failure (error code set). */
int VEXOCloudServiceGetApiKey(char *buf, size_t size, int flag);
/* Registers a new API key, stores it and writes it into `buf`. 0 / < 0. */
int VEXOCloudServiceRegisterApiKey(char *buf, size_t size);
/* Hands an action (2: the API key has expired) to the platform. 0 / < 0. */
int VEXOCloudServiceActionHandler(int action);
/* The cloud-service library's last error: 0 none, 1 network, other values other. */
int VEXOCloudServiceGetErrorCode(void);
/* A device token (32 characters) generated from `serial` into `token`. 0 / < 0. */
int VEXOCloudServiceBxtokenGenerateToken(const char *serial, char *token, size_t size);
/* The appliance's MAC address as text ("00:11:32:aa:bb:cc") into `buf`. 0 / < 0. */
int VEXOBxinfoCloudServiceGetMacAddress(char *buf, size_t size);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VEXO_CLOUD_SERVICE_H_ */
