// Symbol visibility for the installed library: everything is hidden unless marked here.
#ifndef VEXOZEPH_EXPORT_H_
#define VEXOZEPH_EXPORT_H_

#if defined(__GNUC__)
#define VEXOZEPH_API __attribute__((visibility("default")))
#else
#define VEXOZEPH_API
#endif

#ifdef __cplusplus
#define VEXOZEPH_EXTERN_C_BEGIN extern "C" {
#define VEXOZEPH_EXTERN_C_END }
#else
#define VEXOZEPH_EXTERN_C_BEGIN
#define VEXOZEPH_EXTERN_C_END
#endif

#endif  // VEXOZEPH_EXPORT_H_
