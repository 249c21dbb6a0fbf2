// Every validator and every string helper on texts in blocks of exactly their size. Where a validator reads in one
// pass, its verdict is compared with a reading step by step; the others have to agree with each other.
//
// Input: two numbers of four bytes, then texts up to a zero byte each.
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <roqutil/strutil.h>
#include <roqutil/validate.h>
#include <string>
#include <vector>

namespace {

void require(bool holds) {
  if (!holds) abort();
}

using Block = std::unique_ptr<char[]>;

Block block_of(const std::string& text, size_t size) {
  Block block(new char[size]);
  memset(block.get(), 0x5a, size);
  memcpy(block.get(), text.c_str(), text.size() + 1);
  return block;
}

Block block_of(const std::string& text) { return block_of(text, text.size() + 1); }

std::vector<std::string> tokens_of(std::string text, const char* separator) {
  std::vector<std::string> tokens;
  char* rest = nullptr;
  for (char* token = strtok_r(text.data(), separator, &rest); token != nullptr;
       token = strtok_r(nullptr, separator, &rest)) {
    tokens.emplace_back(token);
  }
  return tokens;
}

size_t count_of(const std::string& text, char c) {
  size_t count = 0;
  for (char each : text)
    count += each == c;
  return count;
}

bool is_whole_number(const std::string& field, int base, long limit) {
  char* end = nullptr;
  long value = strtol(field.c_str(), &end, base);
  return *end == '\0' && value < limit;
}

bool is_ip_address(const std::string& text) {
  if (text.size() >= 16 || count_of(text, '.') != 3) return false;
  std::vector<std::string> fields = tokens_of(text, ".");
  if (fields.size() != 4) return false;
  for (const std::string& field : fields) {
    if (field[0] < '0' || field[0] > '9' || !is_whole_number(field, 10, 256)) return false;
  }
  return true;
}

bool is_of_class(const std::string& text, long first_at_least, long first_below) {
  if (text.size() >= 16 || count_of(text, '.') != 3 || text == "0.0.0.0" || text == "255.255.255.255") return false;
  std::vector<std::string> fields = tokens_of(text, ".");
  if (fields.size() != 4) return false;
  for (const std::string& field : fields) {
    if (ROQ_UTIL_ValidateThreeNumberEx(field.c_str(), 0) != 1 || !is_whole_number(field, 10, 256)) return false;
  }
  long first = strtol(fields[0].c_str(), nullptr, 10);
  return first != 127 && first >= first_at_least && first < first_below && fields[3] != "255";
}

bool has_separators_only_at(const std::string& text, char separator, size_t first, size_t second) {
  return text.find(separator) == first && text.find(separator, first + 1) == second &&
         text.find(separator, second + 1) == text.npos;
}

bool is_date(const std::string& text) {
  if (text.size() != 10 || !has_separators_only_at(text, '-', 4, 7)) return false;
  int year, month, day;
  if (sscanf(text.c_str(), "%d-%d-%d", &year, &month, &day) < 3) return false;
  if (year < 1 || month < 1 || month > 12 || day < 1) return false;
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool is_leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return day <= kDays[month - 1] + (month == 2 && is_leap ? 1 : 0);
}

bool is_time_with_seconds(const std::string& text) {
  if (text.size() < 8 || text.size() > 12 || !has_separators_only_at(text, ':', 2, 5)) return false;
  int hour, minute, second;
  if (sscanf(text.c_str(), "%d:%d:%d", &hour, &minute, &second) < 3) return false;
  return hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60;
}

bool is_mac_address(const std::string& text) {
  if (text.size() >= 18) return false;
  std::vector<std::string> groups = tokens_of(text, ":");
  if (groups.size() < 6) return false;
  for (size_t i = 0; i < 6; ++i) {
    if (strchr("0123456789abcdefABCDEF", groups[i][0]) == nullptr || !is_whole_number(groups[i], 16, 256)) return false;
  }
  return true;
}

bool is_implied(bool premise, bool conclusion) { return !premise || conclusion; }

void judge_addresses(const std::string& content) {
  Block text = block_of(content);
  bool is_address = ROQ_UTIL_ValidateIpAddress(text.get()) == 1;
  bool is_host = ROQ_UTIL_ValidateHostIpAddress(text.get()) == 1;
  bool is_shaped = ROQ_UTIL_IsIpFormat(text.get()) == 1;
  require(is_address == is_ip_address(content));
  require(is_host == is_of_class(content, 1, 224));
  require((ROQ_UTIL_ValidateMCastIpAddress(text.get()) == 1) == is_of_class(content, 224, 240));
  require(is_implied(is_address, is_shaped));
  require((ROQ_UTIL_ValidateDnsOrHostAddress(text.get()) == 1) == (!is_shaped || is_host));

  uint32_t octets[4];
  bool is_split = ROQ_UTIL_IpAddrSplit(text.get(), octets) == 1;
  require(is_implied(is_address, is_split));
  for (size_t i = 0; is_split && i < 4; ++i)
    require(octets[i] < 256);

  uint32_t bits = ROQ_IpMaskToCidrLen(text.get());
  in_addr parsed;
  require(is_implied(inet_aton(text.get(), &parsed) == 0, bits == 0) && bits <= 32);

  bool is_global = ROQ_UTIL_ValidateGlobalIpv6Address(text.get()) == 1;
  bool is_host6 = ROQ_UTIL_ValidateHostIpv6Address(text.get()) == 1;
  require(is_implied(is_global, is_host6));
  require(is_implied(is_host6, ROQ_UTIL_ValidateIpv6Address(text.get()) == 1));
  require((ROQ_UTIL_ValidateMacAddress(text.get()) == 1) == is_mac_address(content));
}

void judge_pairs(const std::string& address, const std::string& mask) {
  Block first = block_of(address), second = block_of(mask);
  bool fits = ROQ_UTIL_ValidateHostIpWithSubnetMask(first.get(), second.get()) == 1;
  require(is_implied(fits, ROQ_UTIL_ValidateHostIpAddress(first.get()) == 1));
  require(is_implied(fits, ROQ_UTIL_ValidateSubnetMask(second.get()) == 1));
}

void judge_octets(uint32_t one, uint32_t other) {
  const int32_t address[4] = {static_cast<int32_t>(one), static_cast<int32_t>(one >> 24), 255, 255};
  const int32_t mask[4] = {static_cast<int32_t>(other), static_cast<int32_t>(other >> 24), 0, 0};
  require(is_implied(address[0] >= 224, ROQ_UTIL_ValidateBroadcastIp(address, mask) == 1));
  const uint32_t octets[4] = {one, other, one ^ other, 0}, all[4] = {other, one, 255, 255};
  require(ROQ_UTIL_ValidateIpSameSubNet(octets, all, octets, all) == 1);
}

void judge_numbers(const std::string& content, uint32_t one, uint32_t other) {
  Block text = block_of(content);
  auto minimum = static_cast<int32_t>(one), maximum = static_cast<int32_t>(other);
  bool is_number = ROQ_UTIL_ValidateNumber(text.get()) == 1;
  require(is_number == (!content.empty() && content.find_first_not_of("0123456789") == content.npos));
  require((ROQ_UTIL_ValidateThreeNumber(text.get()) == 1) == (is_number && content.size() <= 3));
  require(is_implied(ROQ_UTIL_ValidateThreeNumberEx(text.get(), 0) == 1, is_number));
  require(is_implied(ROQ_UTIL_ValidateRange(text.get(), minimum, maximum) == 1, is_number && minimum <= maximum));
  require((ROQ_UTIL_ValidateRange(text.get(), 0, 0x7FFFFFFF) == 1) == is_number);
  require((ROQ_UTIL_ValidateLength(text.get(), one) == 1) == (!content.empty() && content.size() <= one));
  require(is_implied(ROQ_UTIL_CheckNum(one) == 1, one < 255));
  require((ROQ_UTIL_ValidateNumberRange(0, minimum, maximum) == 1) == (minimum <= 0 && maximum >= 0));
  require((ROQ_UTIL_ValidateBool(one) == 1) == (one <= 1));
  require((ROQ_UTIL_ValidatePort(one) == 1) == (one >= 1 && one <= 65535));
  require((ROQ_UTIL_ValidateVlanId(one) == 1) == (one <= 4094 || one == 0xFFFFFFFF));
  require((ROQ_UTIL_ValidateVlanIdX(one) == 1) == (one != 0 && ROQ_UTIL_ValidateVlanId(one) == 1));
  require((ROQ_UTIL_ValidatePriority(one) == 1) == (one <= 7 || one == 0xFFFFFFFF));
}

void judge_times(const std::string& content) {
  Block text = block_of(content);
  require((ROQ_UTIL_ValidateDate(text.get()) == 1) == is_date(content));
  require((ROQ_UTIL_ValidateTime1(text.get()) == 1) == is_time_with_seconds(content));
  require(is_implied(ROQ_UTIL_ValidateDateTime(text.get()) == 1,
                     content.size() >= 19 && content.size() <= 24 && is_date(content.substr(0, content.find('T')))));
  uint16_t minutes = 0xA5A5;
  bool is_converted = ROQ_UTIL_TimeToShort(text.get(), &minutes) == 1;
  require(is_converted ? minutes < 24 * 60 : minutes == 0xA5A5);
  require(is_implied(ROQ_UTIL_ValidateTime(text.get()) == 1, is_converted));
}

void trim(const std::string& content) {
  constexpr char kWhite[] = " \t\n\v\f\r";
  size_t first = content.find_first_not_of(kWhite), last = content.find_last_not_of(kWhite);
  std::string kept = first == content.npos ? "" : content.substr(first, last - first + 1);
  Block exact = block_of(content), safe = block_of(content);
  require(kept == ROQ_UTIL_StrTrimExc(exact.get()));
  for (size_t i = kept.size(); i <= content.size(); ++i)
    require(exact[i] == '\0');
  bool is_emptied = last == 0 || content.size() == 1;
  require((is_emptied ? "" : kept) == std::string(ROQ_UTIL_StrTrim(safe.get())));
}

void extract_and_append(const std::string& content, const std::string& other, uint32_t number) {
  Block text = block_of(content), key = block_of(other);
  auto limit = static_cast<int32_t>(number % 64);
  Block out(new char[static_cast<size_t>(limit) + 1]);
  bool is_found = ROQ_UTIL_ParseStrInfo(text.get(), key.get(), out.get(), limit) == 1;
  require(is_found == (content.find(other) != content.npos));
  if (is_found) require(content.find(out.get()) != content.npos);

  size_t size = content.size() + 1 + number % 32;
  Block joined = block_of(content, size);
  require(ROQ_UTIL_StrCat(joined.get(), static_cast<uint32_t>(size), key.get()) == joined.get());
  require((content + other).substr(0, size - 1) == joined.get());
}

void quote(const std::string& content) {
  Block text = block_of(content), out(new char[3 * content.size() + 1]);
  require(ROQ_UTIL_ConvertStrToShellStr(text.get(), out.get()) == 1);
  require(strlen(out.get()) == 3 * content.size());
  for (size_t i = 0; i < content.size(); ++i)
    require(out[3 * i + 1] == content[i] && out[3 * i] == out[3 * i + 2]);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  uint32_t numbers[2] = {};
  if (size < sizeof numbers) return 0;
  memcpy(numbers, data, sizeof numbers);
  std::string rest(data + sizeof numbers, data + size);
  std::string one = rest.c_str();
  std::string other = one.size() < rest.size() ? rest.substr(one.size() + 1).c_str() : "";

  for (const std::string& text : {one, other}) {
    judge_addresses(text);
    judge_numbers(text, numbers[0], numbers[1]);
    judge_times(text);
    trim(text);
    quote(text);
  }
  judge_pairs(one, other);
  judge_octets(numbers[0], numbers[1]);
  extract_and_append(one, other, numbers[0]);
  return 0;
}
