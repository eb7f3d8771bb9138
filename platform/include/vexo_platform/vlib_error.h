/* The platform's last error: a number and where it was raised. Every VLIB/VEXO call that
 * fails sets it; callers print it as "[0x%04X %s:%d]". */
#ifndef VEXO_PLATFORM_VLIB_ERROR_H_
#define VEXO_PLATFORM_VLIB_ERROR_H_

#ifdef __cplusplus
extern "C" {
#endif

/* The last platform error number of this thread; 0 when none. */
int VLIBCErrGet(void);
/* Source file of the last error; "" when none. Never null. */
const char *VLIBCErrorGetFile(void);
/* Source line of the last error; 0 when none. */
int VLIBCErrorGetLine(void);

/* The three values that fill "[0x%04X %s:%d]" in a log line, in that order. The format
 * stays written out in each line, so that the line can be found by its text:
 *   ZLOG("Failed to get serial number, err=[0x%04X %s:%d]", VLIB_LAST_ERROR_ARGS); */
#define VLIB_LAST_ERROR_ARGS VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine()

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VLIB_ERROR_H_ */
