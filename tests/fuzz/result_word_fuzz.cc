// The result word of a server answer and its error code: any answer, of any shape, gives
// either no word or a word that maps to one of the table's codes, and a word beginning
// with "good" is always success.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

#include "fuzz/fuzz_root.h"
#include "internal/json_utils.h"
#include "vexozeph/vexozeph.h"

namespace {

void CheckWord(const std::string &word) {
  static const std::set<unsigned int> kWordCodes = {VEXOZEPH_ERR_SUCCESS,
                                                    VEXOZEPH_ERR_BAD_PARAMETER,
                                                    VEXOZEPH_ERR_AUTH,
                                                    VEXOZEPH_ERR_SYSTEM,
                                                    VEXOZEPH_ERR_NETWORK,
                                                    VEXOZEPH_ERR_ACCOUNT_IN_USE,
                                                    VEXOZEPH_ERR_SERIAL_MAX_ACCOUNTS,
                                                    VEXOZEPH_ERR_ACCOUNT_UNVERIFIED,
                                                    VEXOZEPH_ERR_ACCOUNT_NOT_FOUND,
                                                    VEXOZEPH_ERR_APIKEY_NOT_FOUND,
                                                    VEXOZEPH_ERR_APIKEY_EXPIRED,
                                                    VEXOZEPH_ERR_UNKNOWN};
  const unsigned int code = GetErrorCodeFromAccountError(word.c_str());
  FUZZ_CHECK(kWordCodes.count(code) == 1);
  if (word.compare(0, 4, "good") == 0) FUZZ_CHECK(code == VEXOZEPH_ERR_SUCCESS);
  // The mapping that also records the code as the last error agrees with the plain one.
  FUZZ_CHECK(MapLibZephCenterErrorCode(word.c_str()) == code);
  FUZZ_CHECK(static_cast<unsigned int>(VEXOZEPHErrGet()) == code);
  FUZZ_CHECK(GetZephErrorMsg(code) != nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  CheckWord(text.c_str());
  Json::Value answer;
  if (!vexozeph::json::Parse(text, answer)) return 0;
  std::string word;
  if (vexozeph::json::ResultWord(answer, word)) {
    CheckWord(word);
  } else {
    // No word: only an answer without a usable "code" member.
    const Json::Value &member = vexozeph::json::Member(answer, "code");
    FUZZ_CHECK(member.isNull() || member.isArray() || member.isObject());
  }
  return 0;
}
