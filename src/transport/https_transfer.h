// The pieces every HTTPS transfer of the library shares, whichever client drives it: the
// owned libcurl handles, the capped reply buffer, and the one trust and redirect policy.
// Both the C interface's form sender and the classes' HTTP client use these, so the two
// can never drift apart on what they accept from the network.
#ifndef VEXOZEPH_TRANSPORT_HTTPS_TRANSFER_H_
#define VEXOZEPH_TRANSPORT_HTTPS_TRANSFER_H_

#include <curl/curl.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace vexozeph {
namespace https {

// No answer of the cloud services comes near this; a larger body is a fault or an attack.
constexpr size_t kMaxReplyBytes = 8u * 1024u * 1024u;

// The only certificate authorities trusted, resolved under the root prefix.
constexpr char kCaFile[] = "/etc/ssl/certs/ca-certificates.crt";

constexpr long kMaxRedirects = 10;

struct CurlCleanup {
  void operator()(CURL *curl) const { curl_easy_cleanup(curl); }
};
using CurlHandle = std::unique_ptr<CURL, CurlCleanup>;

struct HeaderListFree {
  void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, HeaderListFree>;

struct CurlFree {
  void operator()(char *text) const { curl_free(text); }
};
using CurlText = std::unique_ptr<char, CurlFree>;

// The reply body as it arrives: NUL-terminated, null until the first byte. It never
// grows past kMaxReplyBytes; a longer reply aborts the transfer with `too_large` set.
struct ReplyBody {
  char *data = nullptr;
  size_t length = 0;
  size_t capacity = 0;
  bool too_large = false;
  ReplyBody() = default;
  ReplyBody(const ReplyBody &) = delete;
  ReplyBody &operator=(const ReplyBody &) = delete;
  ~ReplyBody() { std::free(data); }
  void Clear() {
    std::free(data);
    data = nullptr;
    length = 0;
    capacity = 0;
    too_large = false;
  }
};

// libcurl's write callback for a ReplyBody. Returning fewer bytes than offered (reply too
// large, or no memory: the buffer is then freed) makes libcurl abort the transfer.
size_t WriteMemoryCallback(char *bytes, size_t size, size_t count, void *user);

// Peer and host verified against kCaFile alone (no directory of other authorities),
// TLS 1.x, and no session secrets written to a key log whatever the environment says.
// The first failing option's code, or CURLE_OK.
CURLcode SetVerifiedTls(CURL *curl);

// Plain HTTPS only, for the first request and every redirect (a form may carry a
// password, a header a bearer token), at most kMaxRedirects hops.
CURLcode SetHttpsOnlyRedirects(CURL *curl);

}  // namespace https
}  // namespace vexozeph

#endif  // VEXOZEPH_TRANSPORT_HTTPS_TRANSFER_H_
