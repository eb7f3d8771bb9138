#include "browser_login.h"

#include <json/value.h>

#include <chrono>
#include <iostream>
#include <string>

#include "authorization_request.h"
#include "exit_status.h"
#include "loopback_listener.h"
#include "secret_input.h"
#include "vexozeph/account_pkce_service.h"
#include "vexozeph/user.h"
#include "vexozeph/vexozeph.h"
#include "vexozeph/zeph_exception.h"

namespace vexozeph {
namespace cli {
namespace {

// The loopback redirect's path. Any path would do (RFC 8252 fixes only the host); this
// one says whose it is.
const char kLoopbackPath[] = "/vexozeph/callback";

std::string Trimmed(const std::string &text) {
  const size_t start = text.find_first_not_of(" \t");
  if (start == std::string::npos) return "";
  return text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

// What was pasted: the whole address the browser was sent back to (its state is then
// checked), or the code alone, as the landing page shows it. A code cannot be checked
// against the state, but nothing forged it either: the person copied it from the page of
// the sign-in they opened themselves.
bool IsAddress(const std::string &pasted) {
  return pasted.find('?') != std::string::npos || pasted.find("code=") != std::string::npos ||
         pasted.find("error=") != std::string::npos;
}

class BrowserLogin {
 public:
  BrowserLogin(const Output &out, const BrowserLoginOptions &options)
      : out_(out), options_(options) {}

  int Run() {
    const Json::Value config = service_.GetLoginPkceConfig();
    std::string redirect_uri = StringMember(config, "login_redirect_uri");
    std::string why;
    if (options_.listen) {
      if (!listener_.Listen(options_.port, &why)) {
        return options_.port != 0 ? out_.Usage(why) : out_.Internal(why);
      }
      redirect_uri = "http://127.0.0.1:" + std::to_string(listener_.port()) + kLoopbackPath;
    } else if (redirect_uri.empty()) {
      return out_.Internal("the sign-in configuration names no redirect address");
    }
    if (!MakeAuthorizationRequest(config, redirect_uri, &request_, &why)) {
      return out_.Internal(why);
    }

    // Instructions go to stderr, so that stdout holds only the result (one JSON document
    // with --json) while the address is still shown at once.
    std::cerr << "Open this address in a browser and sign in:\n\n  " << Visible(request_.address)
              << "\n\n";
    AuthorizationResponse response;
    const int status = options_.listen ? Receive(&response) : ReadPasted(&response);
    if (status != kExitSuccess) return status;
    return Complete(response);
  }

 private:
  int Receive(AuthorizationResponse *response) {
    std::cerr << "Waiting for the browser to come back to " << Visible(request_.redirect_uri)
              << " (up to " << options_.timeout_seconds << " seconds)...\n";
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(options_.timeout_seconds);
    for (;;) {
      std::string target;
      std::string why;
      switch (listener_.WaitForRequest(kLoopbackPath, deadline, &target, &why)) {
        case LoopbackListener::Wait::kTimedOut:
          return out_.ToolFailure(kExitTimedOut, "no answer from the browser within " +
                                                     std::to_string(options_.timeout_seconds) +
                                                     " seconds");
        case LoopbackListener::Wait::kFailed:
          return out_.Internal(why);
        case LoopbackListener::Wait::kRequest:
          break;
      }
      *response = ParseAuthorizationResponse(target);
      if (response->state == request_.state) return kExitSuccess;
      // Any local page can send a browser here; only the answer to this request counts.
      listener_.Answer(400, "Not this sign-in",
                       "This answer does not belong to the sign-in vexozeph is waiting for.");
      std::cerr << "Ignored an answer that belongs to another sign-in (its state differs).\n";
    }
  }

  int ReadPasted(AuthorizationResponse *response) {
    const SecretInput::Source source = StdinOrTerminal();
    if (source == SecretInput::Source::kStdin) {
      std::cerr << "Then give the address the browser ends on, or the code it shows, on stdin.\n";
    }
    Secret pasted;
    std::string why;
    if (!SecretInput(source).Read("Address the browser ends on, or its code", &pasted, &why)) {
      return out_.Usage("no answer: " + why);
    }
    const std::string answer = Trimmed(pasted.text());
    if (!IsAddress(answer)) {
      response->code = answer;
      response->state = request_.state;
      return kExitSuccess;
    }
    *response = ParseAuthorizationResponse(answer);
    if (response->state != request_.state) {
      return out_.ToolFailure(kExitBadAnswer,
                              "the address belongs to another sign-in (its state differs)");
    }
    return kExitSuccess;
  }

  int Complete(const AuthorizationResponse &response) {
    if (!response.error.empty()) {
      const std::string reason =
          response.error +
          (response.error_description.empty() ? "" : ": " + response.error_description);
      listener_.Answer(400, "Not signed in", "The sign-in was refused (" + reason + ").");
      return out_.ToolFailure(kExitBadAnswer, "the sign-in was refused (" + reason + ")");
    }
    if (response.code.empty()) {
      listener_.Answer(400, "Not signed in", "The answer carries no code.");
      return out_.ToolFailure(kExitBadAnswer, "the answer carries no code");
    }

    ParamPkceLogin param;
    param.state = response.state;  // compared above
    param.code = response.code;
    param.code_verifier = request_.code_verifier;
    param.redirect_uri = request_.redirect_uri;
    try {
      service_.Login(param);
    } catch (const ZephException &e) {
      listener_.Answer(400, "Not signed in",
                       std::string("The device could not complete the sign-in: ") +
                           GetZephErrorMsg(e.GetCode()) + ". The terminal says more.");
      throw;
    }

    const User user;
    const std::string email = user.GetEmail();
    const std::string user_id = user.GetUserId();
    listener_.Answer(200, "Signed in",
                     "The device is signed in as " + email + ". You can close this window.");
    Json::Value document(Json::objectValue);
    document["email"] = email;
    document["user_id"] = user_id;
    document["stored"] = true;
    out_.Document(document,
                  "Signed in as " + Visible(email) + " (user " + Visible(user_id) + ").\n");
    return kExitSuccess;
  }

  const Output &out_;
  const BrowserLoginOptions options_;
  const AccountPkceService service_;
  LoopbackListener listener_;
  AuthorizationRequest request_;
};

}  // namespace

int RunBrowserLogin(const Output &out, const BrowserLoginOptions &options) {
  return BrowserLogin(out, options).Run();
}

}  // namespace cli
}  // namespace vexozeph
