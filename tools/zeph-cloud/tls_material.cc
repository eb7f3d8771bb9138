#include "tls_material.h"

#include <fcntl.h>
#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "base/atomic_file.h"
#include "base/unique_fd.h"

namespace zeph_cloud {
namespace {

struct X509Free {
  void operator()(X509 *x) const { X509_free(x); }
};
struct KeyFree {
  void operator()(EVP_PKEY *k) const { EVP_PKEY_free(k); }
};
struct BioFree {
  void operator()(BIO *b) const { BIO_free(b); }
};
using X509Ptr = std::unique_ptr<X509, X509Free>;
using KeyPtr = std::unique_ptr<EVP_PKEY, KeyFree>;
using BioPtr = std::unique_ptr<BIO, BioFree>;

[[noreturn]] void Fail(const std::string &what) {
  throw std::runtime_error(what + (errno ? std::string(": ") + std::strerror(errno) : ""));
}

const long kValiditySeconds = 10L * 365 * 24 * 3600;
const long kRenewMarginSeconds = 7L * 24 * 3600;

KeyPtr NewKey() {
  KeyPtr key(EVP_EC_gen("P-256"));
  if (!key) Fail("key generation failed");
  return key;
}

void SetName(X509_NAME *name, const char *common_name) {
  X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char *>("zeph-cloud emulator"), -1, -1,
                             0);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char *>(common_name), -1, -1, 0);
}

void AddExtension(X509 *cert, X509 *issuer, int nid, const char *value) {
  X509V3_CTX ctx;
  X509V3_set_ctx_nodb(&ctx);
  X509V3_set_ctx(&ctx, issuer, cert, nullptr, nullptr, 0);
  X509_EXTENSION *ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
  if (ext == nullptr || X509_add_ext(cert, ext, -1) != 1) {
    X509_EXTENSION_free(ext);
    Fail(std::string("certificate extension failed: ") + value);
  }
  X509_EXTENSION_free(ext);
}

X509Ptr NewCertificate(EVP_PKEY *subject_key, const char *common_name,
                       long not_before = -24L * 3600, long not_after = kValiditySeconds) {
  X509Ptr cert(X509_new());
  if (!cert) Fail("X509_new failed");
  X509_set_version(cert.get(), 2);
  unsigned char serial_bytes[16];
  if (RAND_bytes(serial_bytes, sizeof(serial_bytes)) != 1) Fail("random serial failed");
  serial_bytes[0] &= 0x7f;  // positive
  BIGNUM *serial_bn = BN_bin2bn(serial_bytes, sizeof(serial_bytes), nullptr);
  BN_to_ASN1_INTEGER(serial_bn, X509_get_serialNumber(cert.get()));
  BN_free(serial_bn);
  // Back-dated a day by default so that small clock differences never make it "not yet
  // valid".
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), not_before);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), not_after);
  X509_set_pubkey(cert.get(), subject_key);
  SetName(X509_get_subject_name(cert.get()), common_name);
  return cert;
}

// A server certificate for `names` (subjectAltName syntax), issued by `issuer` (null:
// by itself) and signed with `issuer_key`.
X509Ptr NewServerCertificate(EVP_PKEY *server_key, const char *common_name, const char *names,
                             X509 *issuer, EVP_PKEY *issuer_key, long not_before, long not_after) {
  X509Ptr server = NewCertificate(server_key, common_name, not_before, not_after);
  X509 *signer = issuer != nullptr ? issuer : server.get();
  X509_set_issuer_name(server.get(), X509_get_subject_name(signer));
  AddExtension(server.get(), signer, NID_basic_constraints, "critical,CA:FALSE");
  AddExtension(server.get(), signer, NID_key_usage, "critical,digitalSignature");
  AddExtension(server.get(), signer, NID_ext_key_usage, "serverAuth");
  AddExtension(server.get(), signer, NID_subject_alt_name, names);
  if (issuer != nullptr) {
    AddExtension(server.get(), signer, NID_authority_key_identifier, "keyid");
  }
  if (X509_sign(server.get(), issuer_key, EVP_sha256()) == 0) Fail("signing failed");
  return server;
}

const char kLoopbackNames[] = "IP:127.0.0.1,DNS:localhost";

void WriteOrFail(const std::string &path, const std::string &content, mode_t mode) {
  if (!vexozeph::WriteFileAtomically(path, content, mode)) Fail("cannot write " + path);
}

std::string PemOfCert(X509 *cert) {
  BioPtr bio(BIO_new(BIO_s_mem()));
  PEM_write_bio_X509(bio.get(), cert);
  char *data = nullptr;
  long length = BIO_get_mem_data(bio.get(), &data);
  return std::string(data, static_cast<size_t>(length));
}

std::string PemOfKey(EVP_PKEY *key) {
  BioPtr bio(BIO_new(BIO_s_mem()));
  PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
  char *data = nullptr;
  long length = BIO_get_mem_data(bio.get(), &data);
  return std::string(data, static_cast<size_t>(length));
}

X509Ptr LoadCert(const std::string &path) {
  BioPtr bio(BIO_new_file(path.c_str(), "r"));
  if (!bio) return nullptr;
  return X509Ptr(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
}

KeyPtr LoadKey(const std::string &path) {
  BioPtr bio(BIO_new_file(path.c_str(), "r"));
  if (!bio) return nullptr;
  return KeyPtr(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
}

// Seconds from now until `cert` expires (negative once it has), counted by OpenSSL itself:
// no time_t crosses into it, whose width on a 32-bit target may differ from this program's.
bool SecondsLeft(X509 *cert, int64_t &seconds) {
  int days = 0, secs = 0;
  if (ASN1_TIME_diff(&days, &secs, nullptr, X509_get0_notAfter(cert)) != 1) return false;
  seconds = int64_t{days} * 24 * 3600 + secs;
  return true;
}

bool StillValid(X509 *cert) {
  int64_t left = 0;
  return SecondsLeft(cert, left) && left > kRenewMarginSeconds;
}

// True when the files in `files` form a usable chain: the server key matches its
// certificate, the CA signed it, and neither expires soon.
bool Usable(const TlsFiles &files) {
  X509Ptr ca = LoadCert(files.ca_cert);
  X509Ptr server = LoadCert(files.server_cert);
  KeyPtr key = LoadKey(files.server_key);
  if (!ca || !server || !key) return false;
  KeyPtr ca_public(X509_get_pubkey(ca.get()));
  return ca_public && X509_check_private_key(server.get(), key.get()) == 1 &&
         X509_verify(server.get(), ca_public.get()) == 1 && StillValid(ca.get()) &&
         StillValid(server.get());
}

void Generate(const TlsFiles &files, const std::string &ca_key_path) {
  KeyPtr ca_key = NewKey();
  X509Ptr ca = NewCertificate(ca_key.get(), "zeph-cloud throwaway CA");
  X509_set_issuer_name(ca.get(), X509_get_subject_name(ca.get()));
  AddExtension(ca.get(), ca.get(), NID_basic_constraints, "critical,CA:TRUE");
  AddExtension(ca.get(), ca.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
  AddExtension(ca.get(), ca.get(), NID_subject_key_identifier, "hash");
  if (X509_sign(ca.get(), ca_key.get(), EVP_sha256()) == 0) Fail("signing the CA failed");

  KeyPtr server_key = NewKey();
  X509Ptr server = NewServerCertificate(server_key.get(), "127.0.0.1", kLoopbackNames, ca.get(),
                                        ca_key.get(), -24L * 3600, kValiditySeconds);

  WriteOrFail(ca_key_path, PemOfKey(ca_key.get()), 0600);
  WriteOrFail(files.server_key, PemOfKey(server_key.get()), 0600);
  WriteOrFail(files.server_cert, PemOfCert(server.get()), 0644);
  // Written last: its presence with a matching server certificate marks a complete set.
  WriteOrFail(files.ca_cert, PemOfCert(ca.get()), 0644);
}

struct Variant {
  ServedCertificate kind;
  const char *word;
};
const Variant kVariants[] = {{ServedCertificate::kTrusted, "trusted"},
                             {ServedCertificate::kSelfSigned, "self-signed"},
                             {ServedCertificate::kWrongHost, "wrong-host"},
                             {ServedCertificate::kExpired, "expired"}};

const char *WordOf(ServedCertificate kind) {
  for (const Variant &variant : kVariants) {
    if (variant.kind == kind) return variant.word;
  }
  return "trusted";
}

// True when the refused certificate of `kind` in `files` is still the one it should be:
// its key matches, it is signed by whom it claims (the current CA, or itself), and it is
// lapsed exactly when it should be.
bool UsableRefused(ServedCertificate kind, const TlsFiles &files) {
  X509Ptr ca = LoadCert(files.ca_cert);
  X509Ptr server = LoadCert(files.server_cert);
  KeyPtr key = LoadKey(files.server_key);
  if (!ca || !server || !key || X509_check_private_key(server.get(), key.get()) != 1) {
    return false;
  }
  KeyPtr signer(X509_get_pubkey(kind == ServedCertificate::kSelfSigned ? server.get() : ca.get()));
  if (!signer || X509_verify(server.get(), signer.get()) != 1) return false;
  if (kind != ServedCertificate::kExpired) return StillValid(server.get());
  int64_t left = 0;
  return SecondsLeft(server.get(), left) && left < 0;
}

void GenerateRefused(ServedCertificate kind, const TlsFiles &files, const std::string &ca_cert,
                     const std::string &ca_key_path) {
  X509Ptr ca = LoadCert(ca_cert);
  KeyPtr ca_key = LoadKey(ca_key_path);
  if (!ca || !ca_key) Fail("cannot load the CA to sign a refused certificate");
  KeyPtr server_key = NewKey();
  const long day = 24L * 3600;
  X509Ptr server;
  switch (kind) {
    case ServedCertificate::kSelfSigned:
      server = NewServerCertificate(server_key.get(), "127.0.0.1", kLoopbackNames, nullptr,
                                    server_key.get(), -day, kValiditySeconds);
      break;
    case ServedCertificate::kWrongHost:
      server =
          NewServerCertificate(server_key.get(), "wrong-host.invalid", "DNS:wrong-host.invalid",
                               ca.get(), ca_key.get(), -day, kValiditySeconds);
      break;
    default:
      server = NewServerCertificate(server_key.get(), "127.0.0.1", kLoopbackNames, ca.get(),
                                    ca_key.get(), -2 * day, -day);
      break;
  }
  WriteOrFail(files.server_key, PemOfKey(server_key.get()), 0600);
  WriteOrFail(files.server_cert, PemOfCert(server.get()), 0644);
}

}  // namespace

bool ParseServedCertificate(const std::string &word, ServedCertificate &kind) {
  for (const Variant &variant : kVariants) {
    if (word == variant.word) {
      kind = variant.kind;
      return true;
    }
  }
  return false;
}

TlsFiles EnsureTlsMaterial(const std::string &dir, ServedCertificate served) {
  errno = 0;
  if (::mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) Fail("cannot create " + dir);
  struct stat info;
  if (::lstat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
    errno = 0;
    Fail("state directory is not a directory: " + dir);
  }
  TlsFiles files{dir + "/ca.pem", dir + "/server.pem", dir + "/server.key"};

  vexozeph::UniqueFd lock(
      ::open((dir + "/.tls.lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!lock.Valid()) Fail("cannot open the lock file in " + dir);
  while (::flock(lock.Get(), LOCK_EX) != 0) {
    if (errno != EINTR) Fail("cannot lock " + dir);
  }
  if (!Usable(files)) Generate(files, dir + "/ca.key");
  errno = 0;
  if (!Usable(files)) Fail("generated TLS material is not usable in " + dir);
  if (served == ServedCertificate::kTrusted) return files;

  const std::string stem = dir + "/server-" + WordOf(served);
  TlsFiles refused{files.ca_cert, stem + ".pem", stem + ".key"};
  if (!UsableRefused(served, refused))
    GenerateRefused(served, refused, files.ca_cert, dir + "/ca.key");
  errno = 0;
  if (!UsableRefused(served, refused)) Fail("generated refused certificate is not as meant");
  return refused;
}

}  // namespace zeph_cloud
