#include "pkce/pkce_grant.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <cstring>
#include <vector>

#include "base/clock.h"
#include "internal/json_utils.h"
#include "internal/string_utils.h"
#include "vexo_platform/vexo_pkce.h"
#include "vexozeph/error_codes.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {

namespace {

// The platform's pair: at most 43 characters each and the NUL.
const size_t kPkceBufferSize = 44;

}  // namespace

PkcePair MakePkcePair() {
  char challenge[kPkceBufferSize] = {0};
  char verifier[kPkceBufferSize] = {0};
  if (vexo_challenge_verifier_no_save(challenge, sizeof(challenge), verifier, sizeof(verifier)) <
      0) {
    throw ZephException(VEXOZEPH_ERR_SYSTEM, "Failed to get code challenge & verifier");
  }
  // Read only up to the buffers' end, whatever the platform left in them.
  PkcePair pair;
  pair.challenge.assign(challenge, strnlen(challenge, sizeof(challenge)));
  pair.verifier.assign(verifier, strnlen(verifier, sizeof(verifier)));
  return pair;
}

void AddScopePieces(const std::string &scope, http::Payload &form) {
  std::vector<std::string> pieces;
  boost::split(pieces, scope, boost::is_any_of(" "));
  for (const std::string &piece : pieces) form.Add("scopes[]", piece);
}

http::Payload GrantForm(const Json::Value &config, const PkcePair &pair,
                        const http::Payload &credentials) {
  http::Payload form{
      {"client_id", json::StringOr(config, "client_id")},
      {"redirect_url", json::StringOr(config, "login_redirect_uri")},
      // The current second in decimal; long long, since a 32-bit long wraps in 2038.
      {"state", format("%lld", static_cast<long long>(clock::Now()))},
      {"code_challenge", pair.challenge},
  };
  for (const http::Pair &field : credentials.Pairs()) form.Add(field.first, field.second);
  AddScopePieces(json::StringOr(config, "scope"), form);
  return form;
}

}  // namespace vexozeph
