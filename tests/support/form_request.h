// One request through the C form sender as a caller makes it: the request record, the
// platform's hash of form fields and the reply, all released with the object.
#ifndef VEXOZEPH_TESTS_SUPPORT_FORM_REQUEST_H_
#define VEXOZEPH_TESTS_SUPPORT_FORM_REQUEST_H_

#include <gtest/gtest.h>

#include <string>

#include "vexo_platform/vlib_string.h"
#include "vexozeph/vexozeph.h"

namespace vexozeph {
namespace testing {

class FormRequest {
 public:
  FormRequest(const std::string &host, const std::string &path) : host_(host), path_(path) {
    request.host = host_.c_str();
    request.path = path_.c_str();
    request.params = params_;
  }
  ~FormRequest() {
    VEXOZEPHHttpsResponseFree(&response);
    VLIBCSzHashFree(params_);
  }
  FormRequest(const FormRequest &) = delete;
  FormRequest &operator=(const FormRequest &) = delete;

  FormRequest &Param(const char *key, const char *value) {
    EXPECT_EQ(VLIBCSzHashSetValue(&params_, key, value), 0);
    request.params = params_;
    return *this;
  }
  // The hash itself, for a test that hands the sender another one.
  PVLIBSZHASH Params() const { return params_; }
  // Sends with the last error cleared first, so that a code afterwards is this call's.
  int Send() {
    VEXOZEPHErrSet(0);
    return VEXOZEPHHttpsRequestSend(&request, &response);
  }

  VEXOZEPH_HTTPS_REQUEST request = {};
  VEXOZEPH_HTTPS_RESPONSE response = {};

 private:
  std::string host_;
  std::string path_;
  PVLIBSZHASH params_ = VLIBCSzHashAlloc(16);
};

}  // namespace testing
}  // namespace vexozeph

#endif  // VEXOZEPH_TESTS_SUPPORT_FORM_REQUEST_H_
