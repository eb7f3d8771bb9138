// The request token: an iterated MD5 over the serial, account name and password. Pure
// computation with no platform call, so the cloud emulator checks requests with the very
// same code the appliance signs them with.
#ifndef VEXOZEPH_BASE_REQUEST_TOKEN_H_
#define VEXOZEPH_BASE_REQUEST_TOKEN_H_

#include <cstddef>
#include <string>

// MD5 of the NUL-terminated `text` as 32 lowercase hex digits into `out` (cleared first).
// -1 when `text` or `out` is null, `out_size` is below 32, or the digest fails. With
// exactly 32 bytes the digits fill the buffer and no terminator is written; pass 33.
int ZephGetMd5String(const char *text, char *out, size_t out_size);

namespace vexozeph {

// The token of `input`: 1 to 16 passes, by the first hex digit of the input's own digest.
// False (and a log line) on a null input or a digest failure.
bool RequestTokenFromInput(const char *input, std::string &token);

// The number of passes RequestTokenFromInput makes for `input` (1 to 16); 0 on failure.
int RequestTokenPasses(const char *input);

}  // namespace vexozeph

#endif  // VEXOZEPH_BASE_REQUEST_TOKEN_H_
