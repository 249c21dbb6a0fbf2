// Any command line: the parser must agree with its model, and leave nothing behind.
#include "../../unit/process/parsed.h"
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <roqutil/process.h>

using namespace roq::test::process;

namespace {

std::optional<ParsedFile> file_of(const char* name, int32_t append) {
  if (name == nullptr) return std::nullopt;
  return ParsedFile{name, append != 0};
}

Parsed parse_with_library(const std::string& line, Plan plan) {
  char** vector = nullptr;
  int32_t count = -1;
  RedirectPlan filled{};
  uint32_t result = ROQ_UTIL_ParseArgs(line.c_str(), &vector, &count, plan == Plan::given ? &filled : nullptr);
  if (result != 0) {
    if (result != 1 || vector != nullptr || count != 0) abort();
    if (filled.pcStdoutFile != nullptr || filled.pcStderrFile != nullptr) abort();
    return kParseFailure;
  }
  Parsed parsed{true, {vector, vector + count}, {}, {}, filled.bBackground != 0};
  if (vector[count] != nullptr) abort();
  parsed.output = file_of(filled.pcStdoutFile, filled.bStdoutAppend);
  parsed.error = file_of(filled.pcStderrFile, filled.bStderrAppend);
  ROQ_UTIL_FreeArgs(vector);
  free(filled.pcStdoutFile);
  free(filled.pcStderrFile);
  return parsed;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string line(reinterpret_cast<const char*>(data), size);
  line.resize(strnlen(line.c_str(), line.size()));
  for (Plan plan : {Plan::given, Plan::null}) {
    Parsed parsed = parse_with_library(line, plan);
    Parsed expected = parse_by_model(line, plan);
    if (parsed == expected) continue;
    std::cerr << in_quotes(line) << "\nlibrary: " << parsed << "\nmodel:   " << expected << '\n';
    abort();
  }
  return 0;
}
