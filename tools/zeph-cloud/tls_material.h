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

// Loads the material from `dir`, creating the directory (0700) and generating whatever is
// missing, unreadable or about to expire. Several processes may call this at once on the
// same directory: generation is serialised by a lock file and files are replaced
// atomically. Throws std::runtime_error on failure.
TlsFiles EnsureTlsMaterial(const std::string &dir);

}  // namespace zeph_cloud

#endif  // ZEPH_CLOUD_TLS_MATERIAL_H_
