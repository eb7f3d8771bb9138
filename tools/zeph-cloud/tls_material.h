// The throwaway certificate authority and the server certificate for 127.0.0.1 and
// localhost. Made once per state directory and reused, so that starting the emulator
// costs no key generation after the first time.
#ifndef ZEPH_CLOUD_TLS_MATERIAL_H_
#define ZEPH_CLOUD_TLS_MATERIAL_H_

#include <string>

namespace zeph_cloud {

struct TlsFiles {
  std::string ca_cert;      // PEM certificate of the CA (what clients trust)
  std::string server_cert;  // PEM server certificate, signed by the CA
  std::string server_key;   // PEM private key of the server certificate
};

// Which server certificate the hosts present. Only `kTrusted` is accepted by a client that
// trusts ca_cert; the others exist to prove that clients refuse them.
enum class ServedCertificate {
  kTrusted,     // signed by the CA, for 127.0.0.1 and localhost, valid
  kSelfSigned,  // for 127.0.0.1 and localhost, valid, but signed by its own key
  kWrongHost,   // signed by the CA and valid, but for another host name only
  kExpired,     // signed by the CA, for 127.0.0.1 and localhost, lapsed yesterday
};

// "trusted", "self-signed", "wrong-host", "expired". False for any other word.
bool ParseServedCertificate(const std::string &word, ServedCertificate &kind);

// Loads the material from `dir`, creating the directory (0700) and generating whatever is
// missing, unreadable or about to expire. Several processes may call this at once on the
// same directory: generation is serialised by a lock file and files are replaced
// atomically. Throws std::runtime_error on failure.
// `served` selects the server certificate and key returned (kept beside the trusted ones
// as server-<word>.pem and server-<word>.key); ca_cert is always the CA.
TlsFiles EnsureTlsMaterial(const std::string &dir,
                           ServedCertificate served = ServedCertificate::kTrusted);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_TLS_MATERIAL_H_
