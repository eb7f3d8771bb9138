/* Opaque handles shared by the platform's families. */
#ifndef VEXO_PLATFORM_VLIB_TYPES_H_
#define VEXO_PLATFORM_VLIB_TYPES_H_

/* A string-to-string hash; keys enumerate in insertion order. */
typedef struct _tag_VLIBSZHASH_ *PVLIBSZHASH;
/* A list of strings. */
typedef struct _tag_VLIBSZLIST_ *PVLIBSZLIST;
/* An open plugin-event context. */
typedef struct _tag_VLIBPLUGIN_ *PVLIBPLUGIN;

#endif /* VEXO_PLATFORM_VLIB_TYPES_H_ */
