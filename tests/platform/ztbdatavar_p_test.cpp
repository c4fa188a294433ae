// SPDX-License-Identifier: MIT
//
// Variants where the process decides: the form of dates, and memory that runs out.

#include "ztbdatavar.h"

#include <string>

#include "ztbdate_p.h"
#include "ztbmempool.h"
#include "ztbmempool_p.h"
#include "ztbtest.h"

namespace {

class ZtbDatavarPrivate : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(ztbMemPoolStart()); }
  void TearDown() override { ztbMemPoolStop(); }
};

TEST_F(ZtbDatavarPrivate, DatesFollowTheProcessWideForm) {
  ZtbDate const date(1989, 2, 3, 19, 5, 6);
  ZtbDatavar v;
  v.assign(date);
  for (bool const iso : {true, false}) {
    setDatavarIsoDates(iso);
    EXPECT_STREQ(date.asString(iso).asCstr(), v.asString().asCstr());
  }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(ZtbDatavarPrivate, AValueThatFindsNoRoomLeavesNull) {
  std::string const large(std::size_t{64} << 20, 'x');
  ZtbDatavar text, shared;
  text.assign(large.c_str());
  shared = text;
  ztbtest::Limit const limit(RLIMIT_AS, 1 << 20);
  EXPECT_TRUE(ZtbDatavar().assign(7).assign(large.c_str()).isNull());
  EXPECT_TRUE(ZtbDatavar().assign(ztbTypeUnknown, large.data(), 64u << 20).isNull());
  shared.truncate(1 << 25, -1);
  EXPECT_TRUE(shared.isNull()) << "there is no room for a text of its own";
  EXPECT_EQ(64 << 20, text.length());
  text.truncate(1, -1);
  EXPECT_STREQ("x", text.asString().asCstr());
}

TEST_F(ZtbDatavarPrivate, SetTypeTellsThatTheOldValueStayed) {
  ZtbDatavar number, shared;
  number.assign(7);
  shared = number;
  ztbtest::Limit const limit(RLIMIT_AS, 1 << 20);
  // No body is left for a value of its own.
  for (void* taken = nullptr; ZtbMemPool::getBytes(64, &taken);) {
  }
  EXPECT_FALSE(shared.setType(ztbTypeBoolean));
  EXPECT_EQ(7, shared.asInt(nullptr));
}
#endif

}  // namespace
