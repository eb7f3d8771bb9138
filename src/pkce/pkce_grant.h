// Pieces shared by the account host's authorization-code grants (the device session's
// grant by auth key, a package's grant by the device session): the PKCE pair for the
// code about to be granted, and the scope sent as "scopes[]" fields.
#ifndef VEXOZEPH_PKCE_PKCE_GRANT_H_
#define VEXOZEPH_PKCE_PKCE_GRANT_H_

#include <json/json.h>

#include <string>

#include "transport/http/pairs.h"

namespace vexozeph {

struct PkcePair {
  std::string challenge;
  std::string verifier;  // kept in memory only, for the exchange of the granted code
};

// A fresh pair from the platform, never stored. Throws ZephException code 6 with "Failed
// to get code challenge & verifier" when the platform cannot make one.
PkcePair MakePkcePair();

// One "scopes[]" field per piece of `scope` split at every single space, in order: a run
// of spaces gives empty pieces and an empty scope one empty piece, sent as empty fields.
void AddScopePieces(const std::string &scope, http::Payload &form);

// The grant's form, in the order the account host reads it: "client_id", "redirect_url"
// (the configuration's "login_redirect_uri"), "state" (the time now), "code_challenge",
// then the `credentials` fields as given, then the configuration's scope pieces.
http::Payload GrantForm(const Json::Value &config, const PkcePair &pair,
                        const http::Payload &credentials = {});

}  // namespace vexozeph

#endif  // VEXOZEPH_PKCE_PKCE_GRANT_H_
