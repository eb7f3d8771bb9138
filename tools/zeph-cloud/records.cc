#include "records.h"

#include <vector>

namespace zeph_cloud {
namespace {

// A JSON-valued member and what it must hold.
struct Shape {
  bool (*accepts)(const Json::Value &value);
  const char *expected;
};

bool IsFlagOrNull(const Json::Value &value) {
  return value.isNull() || value.isBool();
}

bool IsFlagTable(const Json::Value &value) {
  if (!value.isObject()) return false;
  for (const auto &name : value.getMemberNames()) {
    if (!value[name].isBool()) return false;
  }
  return true;
}

// A purchase as the payment host lists it: these texts and a whole number of seconds.
bool IsPurchaseList(const Json::Value &value) {
  if (!value.isArray()) return false;
  for (const auto &purchase : value) {
    if (!purchase.isObject() || !purchase["purchased_at"].isInt64()) return false;
    for (const char *text : {"order_id", "item_id", "name", "amount", "currency", "status"}) {
      if (!purchase[text].isString()) return false;
    }
  }
  return true;
}

const Shape kFlagOrNull = {IsFlagOrNull, "true, false or null (left out)"};
const Shape kVersionTable = {IsFlagTable, "an object of version name -> bool"};
const Shape kPurchaseList = {IsPurchaseList,
                             "a list of purchases (order_id, item_id, name, amount, currency, "
                             "status as texts, purchased_at a whole number)"};

// Each record lists its members once; writing and reading both walk that list.
template <typename R, typename F>
void AccountFields(R &r, F &&field) {
  field("id", r.id);
  field("email", r.email);
  field("password", r.password);
  field("full_name", r.full_name);
  field("country", r.country);
  field("timezone", r.timezone);
  field("notify_language", r.notify_language);
  field("activated", r.activated);
  field("disabled", r.disabled);
  field("enews", r.enews);
  field("critical_release", r.critical_release);
  field("enews_local_promotion", r.enews_local_promotion);
  field("realname_validation_pass", r.realname_validation_pass, kFlagOrNull);
  field("critical_version_list", r.critical_version_list, kVersionTable);
  field("report_cron_timestring", r.report_cron_timestring);
  field("purchases", r.purchases, kPurchaseList);
  field("deleted", r.deleted);
}

template <typename R, typename F>
void DeviceFields(R &r, F &&field) {
  field("serial", r.serial);
  field("mac", r.mac);
  field("api_key", r.api_key);
  field("api_key_expired", r.api_key_expired);
  field("register_limit", r.register_limit);
  field("registered_accounts", r.registered_accounts);
  field("last_timezone", r.last_timezone);
  field("last_report", r.last_report);
}

template <typename R, typename F>
void AuthKeyFields(R &r, F &&field) {
  field("key", r.key);
  field("account_id", r.account_id);
  field("serial", r.serial);
  field("issued_at", r.issued_at);
  field("revoked", r.revoked);
}

template <typename R, typename F>
void AuthCodeFields(R &r, F &&field) {
  field("code", r.code);
  field("client_id", r.client_id);
  field("redirect_uri", r.redirect_uri);
  field("challenge", r.challenge);
  field("account_id", r.account_id);
  field("scope", r.scope);
  field("serial", r.serial);
  field("family", r.family);
  field("expires_at", r.expires_at);
  field("used", r.used);
}

template <typename R, typename F>
void TokenFields(R &r, F &&field) {
  field("token", r.token);
  field("kind", r.kind);
  field("account_id", r.account_id);
  field("client_id", r.client_id);
  field("scope", r.scope);
  field("serial", r.serial);
  field("family", r.family);
  field("issued_at", r.issued_at);
  field("expires_at", r.expires_at);
  field("revoked", r.revoked);
  field("used", r.used);
}

template <typename R, typename F>
void PackageClientFields(R &r, F &&field) {
  field("name", r.name);
  field("client_id", r.client_id);
  field("scope", r.scope);
  field("audience", r.audience);
}

template <typename R, typename F>
void LoggedRequestFields(R &r, F &&field) {
  field("seq", r.seq);
  field("time", r.time);
  field("origin", r.origin);
  field("method", r.method);
  field("path", r.path);
  field("target", r.target);
  field("headers", r.headers);
  field("query", r.query);
  field("form", r.form);
  field("body", r.body);
  field("status", r.status);
  field("fault", r.fault);
}

template <typename R, typename F>
void FaultFields(R &r, F &&field) {
  field("path", r.path);
  field("origin", r.origin);
  field("count", r.count);
  field("status", r.status);
  field("body", r.body);
  field("content_type", r.content_type);
  field("delay_ms", r.delay_ms);
  field("trickle_ms", r.trickle_ms);
  field("drop", r.drop);
  field("after_processing", r.after_processing);
  field("raw", r.raw);
}

class Writer {
 public:
  explicit Writer(Json::Value &out) : out_(out) {}
  void operator()(const char *name, const std::string &value) { out_[name] = value; }
  void operator()(const char *name, bool value) { out_[name] = value; }
  void operator()(const char *name, int value) { out_[name] = value; }
  void operator()(const char *name, int64_t value) { out_[name] = Json::Int64(value); }
  void operator()(const char *name, uint64_t value) { out_[name] = Json::UInt64(value); }
  void operator()(const char *name, double value) { out_[name] = value; }
  // Left out when not set.
  void operator()(const char *name, const std::optional<std::string> &value) {
    if (value) out_[name] = *value;
  }
  void operator()(const char *name, const Json::Value &value, const Shape &) { out_[name] = value; }
  // Pairs as a list of [name, value] lists, so that order and repeated names survive.
  void operator()(const char *name, const Pairs &pairs) {
    Json::Value list(Json::arrayValue);
    for (const auto &pair : pairs) {
      Json::Value item(Json::arrayValue);
      item.append(pair.first);
      item.append(pair.second);
      list.append(item);
    }
    out_[name] = list;
  }

 private:
  Json::Value &out_;
};

// Reads the members present; the first one of the wrong type stops it with an error.
class Reader {
 public:
  explicit Reader(const Json::Value &in) : in_(in) {}
  const std::string &Error() const { return error_; }

  void operator()(const char *name, std::string &out) {
    if (const Json::Value *v = Take(name, &Json::Value::isString, "a string")) out = v->asString();
  }
  void operator()(const char *name, bool &out) {
    if (const Json::Value *v = Take(name, &Json::Value::isBool, "true or false")) out = v->asBool();
  }
  void operator()(const char *name, int &out) {
    if (const Json::Value *v = Take(name, &Json::Value::isInt, "a whole number")) out = v->asInt();
  }
  void operator()(const char *name, int64_t &out) {
    if (const Json::Value *v = Take(name, &Json::Value::isInt64, "a whole number")) {
      out = v->asInt64();
    }
  }
  void operator()(const char *name, uint64_t &out) {
    if (const Json::Value *v = Take(name, &Json::Value::isUInt64, "a whole number")) {
      out = v->asUInt64();
    }
  }
  void operator()(const char *name, double &out) {
    if (const Json::Value *v = Take(name, &Json::Value::isNumeric, "a number")) out = v->asDouble();
  }
  void operator()(const char *name, std::optional<std::string> &out) {
    if (const Json::Value *v = Take(name, &Json::Value::isString, "a string")) out = v->asString();
  }
  void operator()(const char *name, Json::Value &out, const Shape &shape) {
    if (!error_.empty() || !in_.isMember(name)) return;
    if (!shape.accepts(in_[name])) return Fail(name, shape.expected);
    out = in_[name];
  }
  void operator()(const char *name, Pairs &out) {
    const Json::Value *v = Take(name, &Json::Value::isArray, "a list of [name, value] lists");
    if (v == nullptr) return;
    Pairs pairs;
    for (const auto &item : *v) {
      if (!item.isArray() || item.size() != 2 || !item[0].isString() || !item[1].isString()) {
        return Fail(name, "a list of [name, value] lists");
      }
      pairs.emplace_back(item[0].asString(), item[1].asString());
    }
    out = pairs;
  }

 private:
  const Json::Value *Take(const char *name, bool (Json::Value::*is)() const, const char *expected) {
    if (!error_.empty() || !in_.isMember(name)) return nullptr;
    const Json::Value &value = in_[name];
    if (!(value.*is)()) {
      Fail(name, expected);
      return nullptr;
    }
    return &value;
  }
  void Fail(const char *name, const char *expected) {
    error_ = std::string("\"") + name + "\" must be " + expected;
  }

  const Json::Value &in_;
  std::string error_;
};

template <typename R>
Json::Value Write(const R &record, void (*fields)(const R &, Writer &)) {
  Json::Value out(Json::objectValue);
  Writer writer(out);
  fields(record, writer);
  return out;
}

template <typename R>
bool Read(const Json::Value &json, R &record, std::string &error, void (*fields)(R &, Reader &)) {
  if (!json.isObject()) {
    error = "expected a JSON object";
    return false;
  }
  R read = record;
  Reader reader(json);
  fields(read, reader);
  if (!reader.Error().empty()) {
    error = reader.Error();
    return false;
  }
  record = read;
  return true;
}

}  // namespace

// Both directions of one record type walk its one member list.
#define ZEPH_CLOUD_RECORD_JSON(Type, Fields)                                 \
  Json::Value ToJson(const Type &record) {                                   \
    return Write(record, Fields<const Type, Writer &>);                      \
  }                                                                          \
  bool FromJson(const Json::Value &json, Type &record, std::string &error) { \
    return Read(json, record, error, Fields<Type, Reader &>);                \
  }

ZEPH_CLOUD_RECORD_JSON(Account, AccountFields)
ZEPH_CLOUD_RECORD_JSON(Device, DeviceFields)
ZEPH_CLOUD_RECORD_JSON(AuthKey, AuthKeyFields)
ZEPH_CLOUD_RECORD_JSON(AuthCode, AuthCodeFields)
ZEPH_CLOUD_RECORD_JSON(Token, TokenFields)
ZEPH_CLOUD_RECORD_JSON(PackageClient, PackageClientFields)
ZEPH_CLOUD_RECORD_JSON(LoggedRequest, LoggedRequestFields)
ZEPH_CLOUD_RECORD_JSON(Fault, FaultFields)

#undef ZEPH_CLOUD_RECORD_JSON

}  // namespace zeph_cloud
