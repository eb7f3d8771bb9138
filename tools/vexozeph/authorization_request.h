// The browser's half of the OAuth sign-in (authorization code with PKCE, S256): the
// address the browser is sent to, and the redirect it comes back with. The verifier and
// the code are secrets: they are held here only to be handed to the library, never shown.
#ifndef VEXOZEPH_TOOLS_VEXOZEPH_AUTHORIZATION_REQUEST_H_
#define VEXOZEPH_TOOLS_VEXOZEPH_AUTHORIZATION_REQUEST_H_

#include <json/value.h>

#include <string>

namespace vexozeph {
namespace cli {

struct AuthorizationRequest {
  std::string address;        // the authorization endpoint with the request's query
  std::string redirect_uri;   // exactly as sent: the code is bound to it
  std::string state;          // random, compared with the one the redirect carries
  std::string code_verifier;  // secret: its S256 challenge is in the address
};

// A fresh request for the working sign-in configuration `config` (its "auth_endpoint",
// "client_id" and "scope") that sends the browser back to `redirect_uri`. The PKCE pair
// comes from the platform's generator, the state from the kernel's random source. False
// with the reason in *why when either cannot be had.
bool MakeAuthorizationRequest(const Json::Value &config, const std::string &redirect_uri,
                              AuthorizationRequest *request, std::string *why);

// What the authorization server put in the redirect's query.
struct AuthorizationResponse {
  std::string code;
  std::string state;
  std::string error;  // "access_denied", ...; empty on success
  std::string error_description;
};

// The query parameters of a redirected address ("https://host/path?code=..&state=.."),
// of a request target ("/callback?code=.."), or of a bare query. A parameter given twice
// counts by its first value. Anything after '#' is ignored.
AuthorizationResponse ParseAuthorizationResponse(const std::string &address);

// `text` with every byte outside RFC 3986's unreserved set percent-encoded.
std::string PercentEncode(const std::string &text);
// The inverse for a query component: "%XX" decoded, '+' read as a space; a malformed
// escape is kept as it stands.
std::string PercentDecode(const std::string &text);

}  // namespace cli
}  // namespace vexozeph

#endif  // VEXOZEPH_TOOLS_VEXOZEPH_AUTHORIZATION_REQUEST_H_
