// Authorization codes and token sets shared by the identity host and the account host's
// OAuth helpers. Every function here expects the emulator's mutex to be held.
#ifndef ZEPH_CLOUD_OAUTH_TOKENS_H_
#define ZEPH_CLOUD_OAUTH_TOKENS_H_

#include <json/json.h>

#include <string>
#include <vector>

#include "emulator.h"
#include "router.h"

namespace zeph_cloud {

// A new single-use code. `challenge` empty means the code was issued without PKCE.
const AuthCode &IssueCode(Emulator &emulator, const std::string &client_id,
                          const std::string &redirect_uri, const std::string &challenge,
                          const std::string &account_id, const std::string &scope,
                          const std::string &serial);

// New access, identity and refresh tokens in `family`; returns the token endpoint answer.
Json::Value IssueTokenSet(Emulator &emulator, const std::string &account_id,
                          const std::string &client_id, const std::string &scope,
                          const std::string &serial, const std::string &family);

// The live access token `token` (known, not revoked, not expired, account not deleted),
// or null with `why` set.
const Token *LiveAccessToken(Emulator &emulator, const std::string &token, std::string &why);

// Revokes every token of `family`; returns how many were live.
int RevokeFamily(State &state, const std::string &family);

// `redirect_uri` with "code" and "state" (when not empty) added to its query.
std::string RedirectWithParams(const std::string &redirect_uri, const Pairs &params);

// An OAuth error answer: {"error": ..., "error_description": ...}.
void SendOAuthError(Exchange &exchange, int status, const std::string &error,
                    const std::string &description);

// An absolute http or https address with a host part.
bool IsAbsoluteHttpUrl(const std::string &url);

std::string JoinWords(const std::vector<std::string> &words);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_OAUTH_TOKENS_H_
