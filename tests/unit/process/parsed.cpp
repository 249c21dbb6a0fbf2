#include "parsed.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <roqutil/process.h>

namespace roq::test::process {
namespace {

std::optional<ParsedFile> file_of(const char* name, int32_t append) {
  EXPECT_TRUE(append == 0 || append == 1);
  if (name != nullptr) return ParsedFile{name, append == 1};
  EXPECT_EQ(append, 0);
  return std::nullopt;
}

} // namespace

Parsed parse(const std::string& line, Plan plan) {
  char* untouched[1];
  char** vector = untouched;
  int32_t count = -7;
  RedirectPlan filled;
  memset(&filled, 0x55, sizeof filled);
  uint32_t result = ROQ_UTIL_ParseArgs(line.c_str(), &vector, &count, plan == Plan::given ? &filled : nullptr);
  if (plan == Plan::null) filled = RedirectPlan{};
  if (result != 0) {
    EXPECT_EQ(result, 1U);
    EXPECT_EQ(vector, untouched);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(filled.pcStdoutFile, nullptr);
    EXPECT_EQ(filled.pcStderrFile, nullptr);
    return {};
  }
  Parsed parsed{true, {}, {}, {}, filled.bBackground == 1};
  EXPECT_TRUE(filled.bBackground == 0 || filled.bBackground == 1);
  for (char** text = vector; *text != nullptr; ++text)
    parsed.arguments.push_back(*text);
  EXPECT_EQ(static_cast<size_t>(count), parsed.arguments.size());
  parsed.output = file_of(filled.pcStdoutFile, filled.bStdoutAppend);
  parsed.error = file_of(filled.pcStderrFile, filled.bStderrAppend);
  ROQ_UTIL_FreeArgs(vector);
  free(filled.pcStdoutFile);
  free(filled.pcStderrFile);
  return parsed;
}

} // namespace roq::test::process
