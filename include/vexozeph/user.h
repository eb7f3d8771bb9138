// User: the account this appliance is signed in to, as stored in the private account
// file. Nothing is cached: every getter reads the file and every setter rewrites one line
// at once, so short-lived processes always share one state. The file belongs to root;
// a process that is not root is lifted to root around each access and dropped again.
// Getters and setters throw ZephException: 6 when privileges cannot be raised, 19 when a
// value cannot be written, or could not be read back whole (more than 2047 characters, or
// holding CR, LF or NUL), in which case the file is not touched.
#ifndef VEXOZEPH_USER_H_
#define VEXOZEPH_USER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "vexozeph/export.h"

namespace vexozeph {

class UserImpl;

class VEXOZEPH_API User {
 public:
  User();
  virtual ~User();
  User(const User &) = delete;
  User &operator=(const User &) = delete;

  // True when an account e-mail is stored: the appliance is signed in.
  bool Exists() const;

  std::string GetAccountHost() const;
  void SetAccountHost(const std::string &value) const;
  std::string GetIdentityHost() const;
  void SetIdentityHost(const std::string &value) const;
  std::string GetEmail() const;
  void SetEmail(const std::string &value) const;
  std::string GetUserId() const;
  void SetUserId(const std::string &value) const;
  std::string GetAuthKey() const;
  void SetAuthKey(const std::string &value) const;
  std::string GetName() const;
  void SetName(const std::string &value) const;
  std::string GetCountry() const;
  void SetCountry(const std::string &value) const;
  std::string GetTimezone() const;
  void SetTimezone(const std::string &value) const;
  std::string GetNotifyLanguage() const;
  void SetNotifyLanguage(const std::string &value) const;
  std::string GetCriticalVersionList() const;
  void SetCriticalVersionList(const std::string &value) const;
  std::string GetCriticalVersionDomain() const;
  void SetCriticalVersionDomain(const std::string &value) const;
  // The report's schedule; "~ 9~16 * * 1~5" when none is stored.
  std::string GetReportCronTimestring() const;
  void SetReportCronTimestring(const std::string &value) const;
  int64_t GetLastQueryTime() const;
  void SetLastQueryTime(int64_t value) const;
  bool GetIsActivated() const;
  void SetIsActivated(bool value) const;
  bool GetIsDisabled() const;
  void SetIsDisabled(bool value) const;
  bool GetIsEnews() const;
  void SetIsEnews(bool value) const;
  bool GetIsCriticalRelease() const;
  void SetIsCriticalRelease(bool value) const;
  bool GetIsEnewsLocalPromotion() const;
  void SetIsEnewsLocalPromotion(bool value) const;
  // True when never stored.
  bool GetIsRealnameValidationPass() const;
  void SetIsRealnameValidationPass(bool value) const;

 private:
  std::unique_ptr<UserImpl> impl_;
};

}  // namespace vexozeph

#endif  // VEXOZEPH_USER_H_
