// The generic-Linux string hash, list and string helpers.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "vexo_platform/vlib_string.h"

namespace {

TEST(PlatformStringHash, EnumeratesInInsertionOrderAndReplacementKeepsItsPlace) {
  PVLIBSZHASH hash = VLIBCSzHashAlloc(4);
  ASSERT_NE(hash, nullptr);
  for (const char *key : {"zeta", "alpha", "mid", "bx_sn"}) {
    ASSERT_EQ(VLIBCSzHashSetValue(&hash, key, key), 0);
  }
  ASSERT_EQ(VLIBCSzHashSetValue(&hash, "alpha", "replaced"), 0);
  EXPECT_STREQ(VLIBCSzHashGetValue(hash, "alpha"), "replaced");
  EXPECT_EQ(VLIBCSzHashGetValue(hash, "missing"), nullptr);
  EXPECT_EQ(VLIBCSzHashGetValue(hash, "Alpha"), nullptr);

  // A list without room for every key gets none of them.
  PVLIBSZLIST small = VLIBCSzListAlloc(3);
  ASSERT_EQ(VLIBCSzListPush(small, "already"), 0);
  EXPECT_LT(VLIBCSzHashEnumKey(hash, small), 0);
  EXPECT_EQ(VLIBCSzListSize(small), 1);
  VLIBCSzListFree(small);

  PVLIBSZLIST keys = VLIBCSzListAlloc(512);
  ASSERT_EQ(VLIBCSzHashEnumKey(hash, keys), 4);
  std::string order;
  for (int i = 0; i < VLIBCSzListSize(keys); ++i)
    order += std::string(VLIBCSzListGet(keys, i)) + ",";
  EXPECT_EQ(order, "zeta,alpha,mid,bx_sn,");
  EXPECT_EQ(VLIBCSzListGet(keys, 4), nullptr);
  EXPECT_EQ(VLIBCSzListGet(keys, -1), nullptr);
  VLIBCSzListFree(keys);
  VLIBCSzHashFree(hash);
}

// Callers keep value pointers while they add more entries (building a form while holding
// the serial); growing the hash must not move what they hold.
TEST(PlatformStringHash, ValuePointersStayValidWhileTheHashGrows) {
  PVLIBSZHASH hash = VLIBCSzHashAlloc(1);
  ASSERT_EQ(VLIBCSzHashSetValue(&hash, "bx_sn", "S1"), 0);
  const char *serial = VLIBCSzHashGetValue(hash, "bx_sn");
  for (int i = 0; i < 2000; ++i) {
    ASSERT_EQ(VLIBCSzHashSetValue(&hash, ("k" + std::to_string(i)).c_str(), "v"), 0);
  }
  EXPECT_EQ(VLIBCSzHashGetValue(hash, "bx_sn"), serial);
  EXPECT_STREQ(serial, "S1");
  VLIBCSzHashFree(hash);
  VLIBCSzHashFree(nullptr);
  VLIBCSzListFree(nullptr);
}

TEST(PlatformStringHelpers, StrCatGrowsAndTrimWorksInPlace) {
  char *buffer = static_cast<char *>(std::malloc(4));
  size_t capacity = 4;
  std::strcpy(buffer, "ab");
  std::string expected = "ab";
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(VLIBCStrCat(&buffer, &capacity, "xyz"), 0);
    expected += "xyz";
  }
  EXPECT_EQ(std::string(buffer), expected);
  EXPECT_GT(capacity, expected.size());
  std::free(buffer);

  char *fresh = nullptr;
  size_t fresh_capacity = 0;
  ASSERT_EQ(VLIBCStrCat(&fresh, &fresh_capacity, "first"), 0);
  EXPECT_STREQ(fresh, "first");
  std::free(fresh);

  // A buffer whose terminator lies beyond its stated capacity is refused, not overrun.
  char unterminated[4] = {'a', 'b', 'c', 'd'};
  char *raw = unterminated;
  size_t raw_capacity = sizeof(unterminated);
  EXPECT_LT(VLIBCStrCat(&raw, &raw_capacity, "e"), 0);
  EXPECT_EQ(raw, unterminated);

  char padded[] = " \t badauth \r\n";
  EXPECT_STREQ(VLIBCStrTrimSpace(padded), "badauth");
  char blank[] = " \n\t ";
  EXPECT_STREQ(VLIBCStrTrimSpace(blank), "");
  char inner[] = "a b";
  EXPECT_STREQ(VLIBCStrTrimSpace(inner), "a b");
  EXPECT_EQ(VLIBCStrTrimSpace(nullptr), nullptr);
}

}  // namespace
