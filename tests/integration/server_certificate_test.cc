// Both transports against servers presenting certificates they must refuse: self-signed,
// for another host, expired. Only the root's CA file decides; the environment cannot
// widen it.
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/cloud_emulator.h"
#include "support/env_scope.h"
#include "support/form_request.h"
#include "support/temp_root.h"
#include "transport/http/session.h"

namespace vexozeph {
namespace testing {
namespace {

// The libcurl result of one request through each transport (0 when an answer came, of
// whatever status), and the form sender's last error.
struct Results {
  long form_sender = 0;
  int form_sender_error = 0;
  long client = 0;
};

Results SendThroughBoth(const std::string &origin) {
  Results results;
  FormRequest form(origin, "device/api/echo");
  form.Param("k", "v").Send();
  results.form_sender = form.response.result;
  results.form_sender_error = VEXOZEPHErrGet();
  results.client =
      http::Get(http::Url{origin + "/test/http/echo"}, http::Timeout{30000}).error.code;
  return results;
}

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
    SCOPED_TRACE(row.certificate);
    options.extra_args = {"--certificate", row.certificate};
    CloudEmulator cloud(ZEPH_CLOUD_BINARY, root, options);
    const Results results = SendThroughBoth(cloud.AccountOrigin());
    if (row.accepted) {
      // Answered (no such form endpoint: a status the sender does not accept).
      EXPECT_EQ(results.form_sender, 0);
      EXPECT_EQ(results.client, 0);
      EXPECT_EQ(cloud.Requests().size(), 2u);
      continue;
    }
    EXPECT_EQ(results.form_sender, CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(results.form_sender_error, VEXOZEPH_ERR_SEND);
    EXPECT_EQ(results.client, CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_TRUE(cloud.Requests().empty()) << "a request got through";

    // Pointing the usual variables at the refused certificate itself changes nothing.
    const std::string served = options.tls_dir + "/server-" + row.certificate + ".pem";
    EnvScope environment(
        {{"SSL_CERT_FILE", served}, {"CURL_CA_BUNDLE", served}, {"SSL_CERT_DIR", options.tls_dir}});
    const Results with_environment = SendThroughBoth(cloud.AccountOrigin());
    EXPECT_EQ(with_environment.form_sender, CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(with_environment.client, CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_TRUE(cloud.Requests().empty()) << "trusted by the environment";
  }
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
