// Answers calls of the validators and string helpers: one call per line on standard input, one answer per line on
// standard output. The notation of arguments and answers is that of compare.py.
//
//   ROQ_UTIL_TimeToShort x393a3035 1
//   1 545
#include "validate/ipv4.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <roqutil/strutil.h>
#include <roqutil/validate.h>
#include <sstream>
#include <string>
#include <vector>

namespace {

[[noreturn]] void give_up(const std::string& why) {
  std::cerr << why << '\n';
  exit(2);
}

// Bytes in a heap block of exactly their size, so that a sanitizer sees every access beyond them.
using Block = std::unique_ptr<char[]>;

Block block_of(const std::string& bytes) {
  Block block(new char[bytes.size()]);
  memcpy(block.get(), bytes.data(), bytes.size());
  return block;
}

class Arguments {
public:
  explicit Arguments(const std::string& line) : line_(line) { line_ >> name; }

  std::string name;

  uint32_t number() { return static_cast<uint32_t>(std::stoll(word())); }
  int32_t signed_number() { return static_cast<int32_t>(std::stoll(word())); }

  std::optional<std::string> bytes() {
    std::string hex = word();
    if (hex == "null") return {};
    std::string bytes;
    for (size_t at = 1; at + 1 < hex.size(); at += 2) {
      bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
    }
    return bytes;
  }

  // A null pointer or the terminated text; valid as long as these arguments.
  char* text() {
    std::optional<std::string> text = bytes();
    if (!text) return nullptr;
    blocks_.push_back(block_of(*text + '\0'));
    return blocks_.back().get();
  }

  template <typename Element> const Element* octets() {
    std::string list = word();
    if (list == "null") return nullptr;
    std::istringstream elements(list.substr(1));
    std::string octets;
    for (std::string element; std::getline(elements, element, ',');) {
      auto octet = static_cast<Element>(std::stoll(element));
      octets.append(reinterpret_cast<const char*>(&octet), sizeof octet);
    }
    blocks_.push_back(block_of(octets));
    return reinterpret_cast<const Element*>(blocks_.back().get());
  }

private:
  std::string word() {
    std::string word;
    if (!(line_ >> word)) give_up("too few arguments: " + line_.str());
    return word;
  }

  std::istringstream line_;
  std::vector<Block> blocks_;
};

constexpr const char* kUntouched = "-";

std::string hex_of(const void* bytes, size_t length) {
  std::string hex = "x";
  char digits[3];
  for (size_t i = 0; i < length; ++i) {
    snprintf(digits, sizeof digits, "%02x", static_cast<const unsigned char*>(bytes)[i]);
    hex += digits;
  }
  return hex;
}

std::string hex_of(const char* text) { return hex_of(text, strlen(text)); }

std::string result_and(uint32_t result, const std::string& output) { return std::to_string(result) + ' ' + output; }

// How the arguments of one function become an answer.
template <auto function> std::string one_text(Arguments& arguments) {
  return std::to_string(function(arguments.text()));
}

template <auto function> std::string one_number(Arguments& arguments) {
  return std::to_string(function(arguments.number()));
}

template <auto function> std::string text_and_number(Arguments& arguments) {
  const char* text = arguments.text();
  return std::to_string(function(text, arguments.number()));
}

std::string two_texts(Arguments& arguments) {
  const char* address = arguments.text();
  return std::to_string(ROQ_UTIL_ValidateHostIpWithSubnetMask(address, arguments.text()));
}

std::string broadcast(Arguments& arguments) {
  const int32_t* address = arguments.octets<int32_t>();
  return std::to_string(ROQ_UTIL_ValidateBroadcastIp(address, arguments.octets<int32_t>()));
}

std::string same_subnet(Arguments& arguments) {
  const uint32_t* arrays[4];
  for (const uint32_t*& array : arrays)
    array = arguments.octets<uint32_t>();
  return std::to_string(ROQ_UTIL_ValidateIpSameSubNet(arrays[0], arrays[1], arrays[2], arrays[3]));
}

std::string split(Arguments& arguments) {
  constexpr uint32_t kCanary = 0xA5A5A5A5;
  uint32_t octets[4] = {kCanary, kCanary, kCanary, kCanary};
  const char* text = arguments.text();
  bool has_output = arguments.number() != 0;
  uint32_t result = ROQ_UTIL_IpAddrSplit(text, has_output ? octets : nullptr);
  if (text == nullptr || !has_output) return result_and(result, kUntouched);
  std::string list;
  for (uint32_t octet : octets)
    list += ',' + (octet == kCanary ? kUntouched : std::to_string(octet));
  return result_and(result, 'a' + list.substr(1));
}

std::string number_range(Arguments& arguments) {
  int32_t value = arguments.signed_number(), minimum = arguments.signed_number();
  return std::to_string(ROQ_UTIL_ValidateNumberRange(value, minimum, arguments.signed_number()));
}

std::string range(Arguments& arguments) {
  const char* text = arguments.text();
  int32_t minimum = arguments.signed_number();
  return std::to_string(ROQ_UTIL_ValidateRange(text, minimum, arguments.signed_number()));
}

std::string time_to_short(Arguments& arguments) {
  constexpr uint16_t kCanary = 0xA5A5;
  uint16_t minutes = kCanary;
  const char* text = arguments.text();
  uint32_t result = ROQ_UTIL_TimeToShort(text, arguments.number() != 0 ? &minutes : nullptr);
  return result_and(result, minutes == kCanary ? kUntouched : std::to_string(minutes));
}

template <auto function> std::string in_place(Arguments& arguments) {
  char* text = arguments.text();
  size_t length = text == nullptr ? 0 : strlen(text);
  if (function(text) != text) return "another address";
  return text == nullptr ? kUntouched : hex_of(text, length);
}

std::string append(Arguments& arguments) {
  std::optional<std::string> text = arguments.bytes();
  uint32_t size = arguments.number();
  const char* more = arguments.text();
  if (!text) return ROQ_UTIL_StrCat(nullptr, size, more) == nullptr ? kUntouched : "another address";
  // No more room than the size says, or than an appended text can need.
  size_t needed = text->size() + 1 + (more == nullptr ? 0 : strlen(more));
  std::string content = *text + '\0';
  content.resize(std::max(content.size(), std::min<size_t>(size, needed)), '\xee');
  Block buffer = block_of(content);
  return ROQ_UTIL_StrCat(buffer.get(), size, more) == buffer.get() ? hex_of(buffer.get()) : "another address";
}

std::string word_behind(Arguments& arguments) {
  const char* text = arguments.text();
  const char* key = arguments.text();
  bool has_output = arguments.number() != 0;
  int32_t limit = arguments.signed_number();
  std::string canary(limit > 0 ? static_cast<size_t>(limit) + 1 : 1, '\xee');
  Block out = block_of(canary);
  uint32_t result = ROQ_UTIL_ParseStrInfo(text, key, has_output ? out.get() : nullptr, limit);
  if (canary == std::string(out.get(), canary.size())) return result_and(result, kUntouched);
  return result_and(result, hex_of(out.get(), strlen(out.get()) + 1));
}

std::string quote(Arguments& arguments) {
  const char* text = arguments.text();
  bool has_output = arguments.number() != 0;
  std::string canary(text == nullptr ? 1 : strlen(text) * 3 + 1, '\xee');
  Block out = block_of(canary);
  uint32_t result = ROQ_UTIL_ConvertStrToShellStr(text, has_output ? out.get() : nullptr);
  if (canary == std::string(out.get(), canary.size())) return result_and(result, kUntouched);
  return result_and(result, hex_of(out.get(), canary.size()));
}

// What a Base64 function left at its output, which is set to `canary` before the call.
template <typename Byte> std::string allocated(uint32_t result, Byte* output, const Byte* canary) {
  if (output == canary) return result_and(result, kUntouched);
  if (output == nullptr) return result_and(result, "null");
  std::unique_ptr<Byte, decltype(&free)> owned(output, &free);
  return result_and(result, hex_of(output, result + size_t{1}));
}

std::string encode(Arguments& arguments) {
  std::optional<std::string> bytes = arguments.bytes();
  Block in = block_of(bytes.value_or(""));
  int32_t length = arguments.signed_number();
  char canary = 0;
  char* out = &canary;
  uint32_t result = ROQ_UTIL_Base64Encode(bytes ? in.get() : nullptr, length, arguments.number() != 0 ? &out : nullptr);
  return allocated(result, out, &canary);
}

std::string decode(Arguments& arguments) {
  std::optional<std::string> bytes = arguments.bytes();
  Block text = block_of(bytes.value_or(""));
  uint32_t length = arguments.number();
  uint8_t canary = 0;
  uint8_t* out = &canary;
  uint32_t result =
      ROQ_UTIL_Base64Decode(bytes ? text.get() : nullptr, length, arguments.number() != 0 ? &out : nullptr);
  return allocated(result, out, &canary);
}

using Answer = std::string (*)(Arguments&);

const std::map<std::string, Answer> kFunctions = {
    {"ROQ_UTIL_ValidateIpAddress", one_text<ROQ_UTIL_ValidateIpAddress>},
    {"ROQ_UTIL_ValidateHostIpAddress", one_text<ROQ_UTIL_ValidateHostIpAddress>},
    {"ROQ_UTIL_ValidateMCastIpAddress", one_text<ROQ_UTIL_ValidateMCastIpAddress>},
    {"ValidateIpByClass", text_and_number<ValidateIpByClass>},
    {"ROQ_UTIL_ValidateDnsOrHostAddress", one_text<ROQ_UTIL_ValidateDnsOrHostAddress>},
    {"ROQ_UTIL_IsIpFormat", one_text<ROQ_UTIL_IsIpFormat>},
    {"ROQ_UTIL_ValidateSubnetMask", one_text<ROQ_UTIL_ValidateSubnetMask>},
    {"ROQ_UTIL_ValidateHostIpWithSubnetMask", two_texts},
    {"ROQ_UTIL_ValidateBroadcastIp", broadcast},
    {"ROQ_UTIL_ValidateIpSameSubNet", same_subnet},
    {"ROQ_UTIL_IpAddrSplit", split},
    {"ROQ_UTIL_CheckNum", one_number<ROQ_UTIL_CheckNum>},
    {"ROQ_IpMaskToCidrLen", one_text<ROQ_IpMaskToCidrLen>},
    {"ROQ_UTIL_ValidateNumber", one_text<ROQ_UTIL_ValidateNumber>},
    {"ROQ_UTIL_ValidateThreeNumberEx", text_and_number<ROQ_UTIL_ValidateThreeNumberEx>},
    {"ROQ_UTIL_ValidateThreeNumber", one_text<ROQ_UTIL_ValidateThreeNumber>},
    {"ROQ_UTIL_ValidateNumberRange", number_range},
    {"ROQ_UTIL_ValidateRange", range},
    {"ROQ_UTIL_ValidateLength", text_and_number<ROQ_UTIL_ValidateLength>},
    {"ROQ_UTIL_ValidateBool", one_number<ROQ_UTIL_ValidateBool>},
    {"ROQ_UTIL_ValidatePort", one_number<ROQ_UTIL_ValidatePort>},
    {"ROQ_UTIL_ValidateVlanId", one_number<ROQ_UTIL_ValidateVlanId>},
    {"ROQ_UTIL_ValidateVlanIdX", one_number<ROQ_UTIL_ValidateVlanIdX>},
    {"ROQ_UTIL_ValidatePriority", one_number<ROQ_UTIL_ValidatePriority>},
    {"ROQ_UTIL_ValidateDate", one_text<ROQ_UTIL_ValidateDate>},
    {"ROQ_UTIL_ValidateTime1", one_text<ROQ_UTIL_ValidateTime1>},
    {"ROQ_UTIL_ValidateDateTime", one_text<ROQ_UTIL_ValidateDateTime>},
    {"ROQ_UTIL_ValidateTime", one_text<ROQ_UTIL_ValidateTime>},
    {"ROQ_UTIL_TimeToShort", time_to_short},
    {"ROQ_UTIL_ValidateMacAddress", one_text<ROQ_UTIL_ValidateMacAddress>},
    {"ROQ_UTIL_ValidateIpv6Address", one_text<ROQ_UTIL_ValidateIpv6Address>},
    {"ROQ_UTIL_ValidateHostIpv6Address", one_text<ROQ_UTIL_ValidateHostIpv6Address>},
    {"ROQ_UTIL_ValidateGlobalIpv6Address", one_text<ROQ_UTIL_ValidateGlobalIpv6Address>},
    {"ROQ_UTIL_StrTrim", in_place<ROQ_UTIL_StrTrim>},
    {"ROQ_UTIL_StrTrimExc", in_place<ROQ_UTIL_StrTrimExc>},
    {"ROQ_UTIL_StrCat", append},
    {"ROQ_UTIL_ParseStrInfo", word_behind},
    {"ROQ_UTIL_ConvertStrToShellStr", quote},
    {"ROQ_UTIL_Base64Encode", encode},
    {"ROQ_UTIL_Base64Decode", decode},
};

} // namespace

int main() {
  std::ios::sync_with_stdio(false);
  for (std::string line; std::getline(std::cin, line);) {
    Arguments arguments(line);
    auto function = kFunctions.find(arguments.name);
    if (function == kFunctions.end()) give_up("no such function: " + arguments.name);
    std::cout << function->second(arguments) << '\n';
  }
}
