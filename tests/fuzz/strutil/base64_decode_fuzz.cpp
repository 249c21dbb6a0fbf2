// The decoder against a slow one that takes one digit after the other; what it accepts survives encoding.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <roqutil/strutil.h>
#include <string>

namespace {

void require(bool holds) {
  if (!holds) abort();
}

// By the character's code less 43; "$" stands for no digit, every other character for its code less 62.
constexpr char kReverse[] = "|$$$}rstuvwxyz{$$$$$$$>?@ABCDEFGHIJKLMNOPQRSTUVW$$$$$$XYZ[\\]^_`abcdefghijklmnopq";

int value_of(char c) {
  if (c < 43 || c > 122 || kReverse[c - 43] == '$') return -1;
  return kReverse[c - 43] - 62;
}

std::optional<std::string> decode_slowly(const std::string& text) {
  size_t length = text.size();
  if (text[length - 1] == '=') length -= text[length - 2] == '=' ? 2 : 1;
  std::string bytes;
  unsigned bits = 0, held = 0;
  for (size_t i = 0; i < length; ++i) {
    int value = value_of(text[i]);
    if (value < 0) return {};
    bits = bits << 6 | static_cast<unsigned>(value);
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes += static_cast<char>(bits >> held);
    bits &= (1U << held) - 1;
  }
  return bytes;
}

struct Release {
  void operator()(void* block) const { free(block); }
};

void encode_and_decode(const uint8_t* data, size_t size) {
  char* text = nullptr;
  uint32_t length = ROQ_UTIL_Base64Encode(data, static_cast<int32_t>(size), &text);
  require(length == (size + 2) / 3 * 4);
  if (size == 0) return;
  std::unique_ptr<char, Release> owned_text(text);
  require(strlen(text) == length);
  uint8_t* bytes = nullptr;
  uint32_t count = ROQ_UTIL_Base64Decode(text, length, &bytes);
  std::unique_ptr<uint8_t, Release> owned_bytes(bytes);
  require(count == size && memcmp(bytes, data, size) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Exactly as long as it is said to be, without a terminator.
  std::unique_ptr<char[]> text(new char[size]);
  if (size > 0) memcpy(text.get(), data, size);
  uint8_t canary;
  uint8_t* out = &canary;
  uint32_t length = ROQ_UTIL_Base64Decode(text.get(), static_cast<uint32_t>(size), &out);
  if (size < 4) {
    require(length == 0 && out == nullptr);
  } else if (std::optional<std::string> bytes = decode_slowly({text.get(), size})) {
    require(length == bytes->size() && out != nullptr && memcmp(out, bytes->data(), length) == 0 && out[length] == 0);
    free(out);
  } else {
    require(length == 0 && out == &canary);
  }
  encode_and_decode(data, size);
  return 0;
}
