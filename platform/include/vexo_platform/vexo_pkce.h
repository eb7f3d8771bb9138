/* PKCE pair generator. */
#ifndef VEXO_PLATFORM_VEXO_PKCE_H_
#define VEXO_PLATFORM_VEXO_PKCE_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A fresh code challenge (S256, base64url without padding) and its code verifier, each
 * NUL-terminated and at most 43 characters, nothing stored. 0 on success, < 0 on failure
 * (including buffers smaller than 44 bytes). */
int vexo_challenge_verifier_no_save(char *challenge, size_t challenge_size, char *verifier,
                                    size_t verifier_size);

#ifdef __cplusplus
}
#endif
#endif /* VEXO_PLATFORM_VEXO_PKCE_H_ */
