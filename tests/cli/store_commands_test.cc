// `vexozeph purchases` and `vexozeph store-page` against the emulator's payment host:
// server text made harmless for a terminal, --json exactly the library's answer, and the
// library's code as the exit status.
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <string>

#include "support/cli_fixture.h"
#include "support/json_object.h"

namespace vexozeph {
namespace testing {
namespace {

class StoreCommands : public CliAgainstCloud {
 protected:
  StoreCommands() { cloud_options_.payment_at_built_in_port = true; }

  void SetUp() override {
    CliAgainstCloud::SetUp();
    if (!cloud_->PaymentAtBuiltInPort()) GTEST_SKIP() << cloud_->WhyNoPaymentHost();
  }
};

bool HasControlBytes(const std::string &text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\n') || c == 0x7f;
  });
}

TEST_F(StoreCommands, PurchasesAndStorePageShowServerTextSafelyAndJsonExactly) {
  for (const char *command : {"purchases", "store-page"}) {
    EXPECT_EQ(Run({command}).status, 3) << command;
    EXPECT_EQ(Run({"--json", command}).Json()["error"]["code"], 3) << command;
  }

  const Account owner = MakeAccount("shopper@example.com");
  ASSERT_EQ(PasswordLogin(owner).status, 0);
  EXPECT_EQ(Run({"purchases"}).out, "This account has no purchases.\n");

  // A purchase whose name would retitle the terminal and start a line of its own.
  Json::Value purchases(Json::arrayValue);
  purchases.append(JsonObject({{"order_id", "ord-2"},
                               {"item_id", "relay-plus-1y"},
                               {"name", "Relay\x1b]0;owned\x07\nPlus"},
                               {"amount", "19.99"},
                               {"currency", "USD"},
                               {"purchased_at", 1700000000},
                               {"status", "paid"}}));
  cloud_->UpdateAccount(owner.id, JsonObject({{"purchases", purchases}}));
  const CliResult text = Run({"purchases"});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_FALSE(HasControlBytes(text.out)) << text.out;
  EXPECT_NE(text.out.find("2023-11-14  ord-2  Relay\\x1b]0;owned\\x07\\nPlus  19.99 USD  paid"),
            std::string::npos)
      << text.out;
  EXPECT_EQ(Run({"--json", "purchases"}).Json(), JsonObject({{"purchases", purchases}}));

  const CliResult page = Run({"--json", "store-page"});
  ASSERT_EQ(page.status, 0) << page.err;
  const Json::Value info = page.Json();
  const std::string address = cloud_->PaymentOrigin() + "/store/embed";
  EXPECT_EQ(info["address"], address);
  EXPECT_EQ(info["url"], address + "?ticket=" + info["params"]["ticket"].asString());
  const CliResult shown = Run({"store-page"});
  EXPECT_EQ(shown.out.rfind("Store page   " + address + "?ticket=", 0), 0u) << shown.out;
  for (const CliResult &result : {page, shown}) {
    EXPECT_EQ(result.out.find(StoredAuthKey()), std::string::npos);
    EXPECT_EQ(result.err.find(StoredAuthKey()), std::string::npos);
  }
}

}  // namespace
}  // namespace testing
}  // namespace vexozeph
