// Both transports against servers presenting certificates they must refuse: self-signed,
// for another host, expired. Only the root's CA file decides; the environment cannot
// widen it.
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <vector>

#include "internal/http/session.h"
#include "support/cloud_emulator.h"
#include "support/temp_root.h"
#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace testing {
namespace {

const char kFormEcho[] = "device/api/echo";
const char kClientEcho[] = "/test/http/echo";

// The libcurl result of one request through each transport (0 when an answer came, of
// whatever status), and the form sender's last error.
struct Results {
  long form_sender = 0;
  int form_sender_error = 0;
  long client = 0;
};

Results SendThroughBoth(const std::string &origin) {
  Results results;
  VEXOZEPH_HTTPS_REQUEST request = {};
  request.host = origin.c_str();
  request.path = kFormEcho;
  PVLIBSZHASH params = VLIBCSzHashAlloc(4);
  EXPECT_EQ(VLIBCSzHashSetValue(&params, "k", "v"), 0);
  request.params = params;
  VEXOZEPH_HTTPS_RESPONSE response = {};
  VEXOZEPHErrSet(0);
  VEXOZEPHHttpsRequestSend(&request, &response);
  results.form_sender = response.result;
  results.form_sender_error = VEXOZEPHErrGet();
  VEXOZEPHHttpsResponseFree(&response);
  VLIBCSzHashFree(params);

  const http::Response answer = http::Get(http::Url{origin + kClientEcho}, http::Timeout{30000});
  results.client = answer.error.code;
  return results;
}

// Variables that point OpenSSL or a curl program at other authorities, set for the life
// of the object.
class TrustEnvironment {
 public:
  explicit TrustEnvironment(const std::string &bundle, const std::string &dir) {
    for (const char *name : {"SSL_CERT_FILE", "CURL_CA_BUNDLE"}) Set(name, bundle);
    Set("SSL_CERT_DIR", dir);
  }
  ~TrustEnvironment() {
    for (const auto &saved : saved_) {
      if (saved.had) {
        ::setenv(saved.name.c_str(), saved.value.c_str(), 1);
      } else {
        ::unsetenv(saved.name.c_str());
      }
    }
  }

 private:
  struct Saved {
    std::string name;
    bool had;
    std::string value;
  };
  void Set(const char *name, const std::string &value) {
    const char *old = ::getenv(name);
    saved_.push_back({name, old != nullptr, old != nullptr ? old : ""});
    ::setenv(name, value.c_str(), 1);
  }
  std::vector<Saved> saved_;
};

TEST(ServerCertificate, OnlyAValidCertificateForTheHostSignedByTheRootsCaIsAccepted) {
  TempRoot root;
  root.WriteFile("/etc/vexozeph/serial", "SN0068\n");
  CloudEmulator::Options options;
  // One authority for every row, kept inside this test.
  options.tls_dir = root.Path("/tls");

  struct Row {
    std::string certificate;
    bool accepted;
  };
  const std::vector<Row> rows = {
      {"trusted", true}, {"self-signed", false}, {"wrong-host", false}, {"expired", false}};
  for (const Row &row : rows) {
    options.extra_args = {"--certificate", row.certificate};
    CloudEmulator cloud(ZEPH_CLOUD_BINARY, root, options);
    const Results results = SendThroughBoth(cloud.AccountOrigin());
    if (row.accepted) {
      // Answered (no such form endpoint: a status the sender does not accept).
      EXPECT_EQ(results.form_sender, 0) << row.certificate;
      EXPECT_EQ(results.client, 0) << row.certificate;
      EXPECT_EQ(cloud.Requests().size(), 2u) << row.certificate;
      continue;
    }
    EXPECT_EQ(results.form_sender, CURLE_PEER_FAILED_VERIFICATION) << row.certificate;
    EXPECT_EQ(results.form_sender_error, VEXOZEPH_ERR_SEND) << row.certificate;
    EXPECT_EQ(results.client, CURLE_PEER_FAILED_VERIFICATION) << row.certificate;
    EXPECT_TRUE(cloud.Requests().empty()) << row.certificate << ": a request got through";

    // Pointing the usual variables at the refused certificate itself changes nothing.
    const std::string served = options.tls_dir + "/server-" + row.certificate + ".pem";
    TrustEnvironment environment(served, options.tls_dir);
    const Results with_environment = SendThroughBoth(cloud.AccountOrigin());
    EXPECT_EQ(with_environment.form_sender, CURLE_PEER_FAILED_VERIFICATION) << row.certificate;
    EXPECT_EQ(with_environment.client, CURLE_PEER_FAILED_VERIFICATION) << row.certificate;
    EXPECT_TRUE(cloud.Requests().empty()) << row.certificate << ": trusted by the environment";
  }
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
