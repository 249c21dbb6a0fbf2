#include "strutil/base64.h"

#include "support/owners.h"
#include <roqutil/strutil.h>

using namespace roq::strutil;

namespace {

void* allocate(size_t size) {
  roq::ErrnoKeeper keep;
  return malloc(size);
}

} // namespace

extern "C" uint32_t ROQ_UTIL_Base64Encode(const void* pvIn, int32_t lLen, char** ppcOut) {
  if (ppcOut == nullptr) return 0;
  *ppcOut = nullptr;
  if (pvIn == nullptr || lLen < 1) return 0;

  auto length = static_cast<size_t>(lLen);
  auto* text = static_cast<char*>(allocate(length + length / 3 + 5));
  if (text == nullptr) return 0;
  size_t written = encode_base64({static_cast<const uint8_t*>(pvIn), length}, text);
  text[written] = '\0';
  *ppcOut = text;
  return static_cast<uint32_t>(written);
}

extern "C" uint32_t ROQ_UTIL_Base64Decode(const char* pcText, uint32_t ulLen, uint8_t** ppucOut) {
  if (ppucOut == nullptr) return 0;
  bool is_too_short = static_cast<int32_t>(ulLen) < 4;
  if (pcText == nullptr || is_too_short) {
    *ppucOut = nullptr;
    return 0;
  }
  std::span<const char> digits(pcText, length_without_padding({pcText, ulLen}));
  if (!are_base64_digits(digits)) return 0;

  auto* bytes = static_cast<uint8_t*>(allocate(size_t{ulLen} - (ulLen + 3) / 4 + 4));
  *ppucOut = bytes;
  if (bytes == nullptr) return 0;
  size_t written = decode_base64(digits, bytes);
  bytes[written] = '\0';
  return static_cast<uint32_t>(written);
}
