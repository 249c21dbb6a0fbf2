// roqutil trim, shell-quote, field, base64: the string helpers and Base64.
#include "strutil_commands.h"

#include "groups.h"
#include "values.h"
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <roqutil/strutil.h>

namespace roq::tool {
namespace {

// Gives every text to the function: the arguments from `from` on, or the lines of standard input. The function may
// change the text. It returns an exit code; the first one other than kSuccess ends the command.
template <typename Function> int for_each_text(const Invocation& call, size_t from, Function function) {
  bool from_input = call.count() == from || (call.count() == from + 1 && strcmp(call.argument(from), "-") == 0);
  if (!from_input) {
    for (size_t i = from; i < call.count(); ++i) {
      Array<char> copy;
      for (char c : std::string_view(call.argument(i)))
        copy.add(c);
      copy.add('\0');
      if (int code = function(copy.data()); code != kSuccess) return code;
    }
    return kSuccess;
  }
  LineReader line;
  for (size_t number = 1; line.next(); ++number) {
    if (!line.is_text()) return call.refused("line %zu holds a zero byte", number);
    if (int code = function(line.text()); code != kSuccess) return code;
  }
  return ferror(stdin) != 0 ? stream_failed(call, "-") : static_cast<int>(kSuccess);
}

constexpr uint32_t kDefaultLimit = 255;
constexpr uint32_t kLargestLimit = 0x7FFFFFFE;

// ---- Base64, piece by piece, so that the input may have any size

constexpr size_t kGroupsAtOnce = 16384;

struct Input {
  const Invocation& call;
  const char* name;
  FILE* stream;
  ~Input() {
    if (stream != nullptr && stream != stdin) fclose(stream);
  }
};

Input input_of(const Invocation& call) {
  const char* name = call.count() > 0 ? call.argument(0) : "-";
  return {call, name, open_input(call, name)};
}

int run_encode(const Invocation& call) {
  Input input = input_of(call);
  if (input.stream == nullptr) return kRefused;
  Array<char> bytes;
  bytes.resize(3 * kGroupsAtOnce, '\0');
  bool is_empty = true;
  // fread comes short at the end only, so every piece but the last has whole groups.
  while (size_t size = fread(bytes.data(), 1, bytes.size(), input.stream)) {
    char* text = nullptr;
    uint32_t length = ROQ_UTIL_Base64Encode(bytes.data(), static_cast<int32_t>(size), &text);
    if (length == 0) end_out_of_memory();
    fwrite(text, 1, length, stdout);
    free(text);
    is_empty = false;
  }
  if (ferror(input.stream) != 0) return stream_failed(call, input.name);
  if (!is_empty) putchar('\n');
  return kSuccess;
}

// Decodes pieces of whole groups and keeps the end back, since padding and a last group may be there only.
class Decoder {
public:
  explicit Decoder(const Input& input) : input_(input) {}

  int run() {
    constexpr size_t kPiece = 4 * kGroupsAtOnce;
    size_t held = 0;
    text_.resize(kPiece + kKeptBack, '\0');
    while (size_t size = fread(text_.data() + held, 1, text_.size() - held, input_.stream)) {
      held += size;
      if (held < text_.size()) continue;
      if (int code = decode(kPiece, Place::within); code != kSuccess) return code;
      held -= kPiece;
      memmove(text_.data(), text_.data() + kPiece, held);
    }
    if (ferror(input_.stream) != 0) return stream_failed(input_.call, input_.name);
    return finish(held);
  }

private:
  enum class Place { within, at_end };
  // A shortest text, its padding and a line end.
  static constexpr size_t kKeptBack = 16;

  int finish(size_t held) {
    if (held > 0 && text_[held - 1] == '\n') --held;
    if (held > 0 && text_[held - 1] == '\r') --held;
    if (held == 0 && decoded_ == 0) return kSuccess;
    if (held < 4 && decoded_ == 0) return input_.call.no("'%s': fewer than 4 characters are no Base64", input_.name);
    return decode(held, Place::at_end);
  }

  int decode(size_t size, Place place) {
    if (place == Place::within && text_[size - 1] == '=') return refuse();
    uint8_t untouched;
    uint8_t* bytes = &untouched;
    uint32_t length = ROQ_UTIL_Base64Decode(text_.data(), static_cast<uint32_t>(size), &bytes);
    if (bytes == nullptr) end_out_of_memory();
    if (length == 0) return refuse();
    fwrite(bytes, 1, length, stdout);
    free(bytes);
    decoded_ += size;
    return kSuccess;
  }

  // One of the characters is no digit.
  int refuse() {
    size_t at = 0;
    while (is_digit(text_[at]))
      ++at;
    return input_.call.no("'%s': character %llu (0x%02x) is no Base64 digit", input_.name,
                          static_cast<unsigned long long>(decoded_ + at + 1),
                          unsigned{static_cast<unsigned char>(text_[at])});
  }

  static bool is_digit(char c) {
    return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '+' || c == '/';
  }

  const Input& input_;
  Array<char> text_;
  uint64_t decoded_ = 0; // characters
};

int run_decode(const Invocation& call) {
  Input input = input_of(call);
  return input.stream == nullptr ? static_cast<int>(kRefused) : Decoder(input).run();
}

constexpr Example kEncodeExamples[] = {{"roqutil base64 encode picture.png", "a file"},
                                       {"printf Man | roqutil base64 encode", "TWFu"}};
constexpr Example kDecodeExamples[] = {{"roqutil base64 decode picture.txt >picture.png", "a file"},
                                       {"echo TWFu | roqutil base64 decode", "Man"}};
constexpr Command kBase64Commands[] = {{.name = "encode",
                                        .arguments = "[FILE]",
                                        .maximum = 1,
                                        .summary = "encode a file or standard input on one line",
                                        .examples = kEncodeExamples,
                                        .run = run_encode},
                                       {.name = "decode",
                                        .arguments = "[FILE]",
                                        .maximum = 1,
                                        .summary = "decode a file or standard input",
                                        .details = "One line end behind the text is dropped; any other character that "
                                                   "is no digit is refused.\nWhat came before it was already written.",
                                        .examples = kDecodeExamples,
                                        .run = run_decode}};
constexpr Example kBase64Examples[] = {{"roqutil base64 encode picture.png >picture.txt", "a file"},
                                       {"echo TWFu | roqutil base64 decode", "Man"}};

} // namespace

int run_trim(const Invocation& call) {
  return for_each_text(call, 0, [&](char* text) {
    puts(call.has("exact") ? ROQ_UTIL_StrTrimExc(text) : ROQ_UTIL_StrTrim(text));
    return static_cast<int>(kSuccess);
  });
}

int run_shell_quote(const Invocation& call) {
  return for_each_text(call, 0, [](const char* text) {
    Array<char> quoted;
    quoted.resize(3 * strlen(text) + 1, '\0');
    ROQ_UTIL_ConvertStrToShellStr(text, quoted.data());
    puts(quoted.data());
    return static_cast<int>(kSuccess);
  });
}

int run_field(const Invocation& call) {
  auto limit = call.option_number("limit", kDefaultLimit, 1, kLargestLimit);
  if (!limit) return kUsage;
  const char* key = call.argument(0);
  bool is_found = false;
  int code = for_each_text(call, 1, [&](const char* text) {
    // No word is longer than its text.
    auto longest = static_cast<int32_t>(std::min<size_t>(*limit, strlen(text)));
    Array<char> word;
    word.resize(static_cast<size_t>(longest) + 1, '\0');
    if (ROQ_UTIL_ParseStrInfo(text, key, word.data(), longest) == 1) {
      puts(word.data());
      is_found = true;
    }
    return static_cast<int>(kSuccess);
  });
  if (code != kSuccess || is_found) return code;
  return call.no("key '%s' occurs nowhere", readable(key).c_str());
}

constinit const Group base64_group{
    .name = "base64", .summary = "encode and decode Base64", .commands = kBase64Commands, .examples = kBase64Examples};

} // namespace roq::tool
