// `vexozeph purchases`: the signed-in account's purchase history at the payment host.
#include <json/value.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "exit_status.h"
#include "vexozeph/zeph_account.h"

namespace vexozeph {
namespace cli {
namespace {

// The columns of the text table; every value came from the server.
struct Column {
  const char *title;
  std::string (*value)(const Json::Value &purchase);
};

std::string Date(const Json::Value &purchase) {
  return UtcTime(purchase["purchased_at"].asInt64()).substr(0, 10);
}
std::string Order(const Json::Value &purchase) {
  return Visible(StringMember(purchase, "order_id"));
}
std::string Name(const Json::Value &purchase) {
  return Visible(StringMember(purchase, "name"));
}
std::string Amount(const Json::Value &purchase) {
  return Visible(StringMember(purchase, "amount") + " " + StringMember(purchase, "currency"));
}
std::string Status(const Json::Value &purchase) {
  return Visible(StringMember(purchase, "status"));
}

const Column kColumns[] = {
    {"DATE", Date}, {"ORDER", Order}, {"ITEM", Name}, {"AMOUNT", Amount}, {"STATUS", Status}};

std::string Table(const Json::Value &purchases) {
  std::vector<std::vector<std::string>> rows(1);
  for (const Column &column : kColumns) rows[0].push_back(column.title);
  for (const Json::Value &purchase : purchases) {
    rows.emplace_back();
    for (const Column &column : kColumns) rows.back().push_back(column.value(purchase));
  }
  std::vector<size_t> widths(rows[0].size(), 0);
  for (const auto &row : rows) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const auto &row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i] + (i + 1 < row.size() ? std::string(widths[i] - row[i].size() + 2, ' ') : "");
    }
    text += line + "\n";
  }
  return text;
}

class PurchasesCommand : public Command {
 public:
  void Define(CLI::App &) override {}

  int Run(const Output &out) override {
    Json::Value result(Json::objectValue);
    if (VEXOZEPHAccountPurchaseList(result) != 0) return out.LastLibraryFailure();
    const Json::Value &purchases = result["purchases"];
    out.Document(result, purchases.empty() ? "This account has no purchases.\n" : Table(purchases));
    return kExitSuccess;
  }
};

}  // namespace

std::unique_ptr<Command> MakePurchasesCommand() {
  return std::make_unique<PurchasesCommand>();
}

}  // namespace cli
}  // namespace vexozeph
