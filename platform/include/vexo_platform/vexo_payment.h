/* The package-store side's reader of the stored account. */
#ifndef VEXO_PLATFORM_VEXO_PAYMENT_H_
#define VEXO_PLATFORM_VEXO_PAYMENT_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Fills `record` (`size` bytes, the account record layout) with the stored account: its
 * leading field is the account e-mail, NUL-terminated. >= 0 on success, < 0 when no
 * account is stored or on failure. */
int VEXOPaymentZephAccountGet(void *record, size_t size);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VEXO_PAYMENT_H_ */
