/* Running other programs. */
#ifndef VEXO_PLATFORM_VLIB_PROCESS_H_
#define VEXO_PLATFORM_VLIB_PROCESS_H_

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Runs `path` with the null-terminated argument list that follows (argv[0] first) and
 * waits for it. `flags` is the platform's flag word (0xBB: no shell of its own, wait).
 * Returns the exit status (>= 0) or < 0 when it could not be run. */
int VLIBCExecl(const char *path, int flags, ...);

/* Starts `path` with the null-terminated argument list that follows (options only,
 * argv[0] is `path`) connected by a pipe; `mode` is "r" or "w". Null on failure. */
FILE *VLIBCPopen(const char *path, const char *mode, ...);

/* Closes a stream of VLIBCPopen and waits for the program. Its exit status, or < 0. */
int VLIBCPclose(FILE *stream);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VLIB_PROCESS_H_ */
