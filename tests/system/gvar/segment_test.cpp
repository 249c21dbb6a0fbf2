#include <gtest/gtest.h>
#include <roqutil/gvar.h>
#include <sys/shm.h>

TEST(GVarInit, OfAnExistingModuleSucceedsWithoutCreating) {
  uint32_t created = 7;
  ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, &created), 0U);
  EXPECT_EQ(created, 1U);
  ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, &created), 0U);
  EXPECT_EQ(created, 0U);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(ROQ_UTIL_GVarGetMemHandle(3)), 0x2F200018U);
  ASSERT_EQ(ROQ_UTIL_GVarSetValue(0x00030001, "hello", 5), 0U);
  char buffer[10];
  uint32_t copied;
  EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(0x00030001, buffer, 10, &copied), 0U);
  EXPECT_EQ(copied, 5U);
  EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0U);
}
