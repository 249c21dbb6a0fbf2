// roqutil trim, shell-quote, field, base64: the string helpers and Base64.
#include "strutil_commands.h"

#include "groups.h"
#include "json.h"
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
    if (!line.is_text()) return call.no("line %zu: it holds a zero byte; take it out", number);
    if (int code = function(line.text()); code != kSuccess) return code;
  }
  return ferror(stdin) != 0 ? stream_failed(call, "-") : static_cast<int>(kSuccess);
}

// What came of texts: a line each, or with --json an array of objects.
class Results {
public:
  Results(const Invocation& call, const char* key) : as_json_(call.json()), key_(key) {
    if (as_json_) json_.begin_array();
  }

  // A null result is printed in JSON only.
  void add(const char* text, const char* result) {
    if (as_json_) {
      json_.begin_object();
      json_.member("text", text);
      json_.member(key_, result);
      json_.end_object();
    } else if (result != nullptr) {
      puts(result);
    }
  }

  void finish() {
    if (!as_json_) return;
    json_.end_array();
    json_.print();
  }

private:
  bool as_json_;
  const char* key_; // of a result
  Json json_;
};

constexpr uint32_t kDefaultLength = 255;
constexpr uint32_t kLargestLength = 0x7FFFFFFE;

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

// Where the result goes piece by piece: to standard output, or with --json into a text that is printed at the end.
class Output {
public:
  explicit Output(const Input& input) : input_(input) {}

  void write(const void* bytes, size_t size) {
    size_ += size;
    if (input_.call.json())
      collected_.append({static_cast<const char*>(bytes), size});
    else
      fwrite(bytes, 1, size, stdout);
  }
  bool empty() const { return size_ == 0; }

  // `add_result` writes the member that holds the result.
  template <typename AddResult> void finish(AddResult add_result) {
    if (!input_.call.json()) return;
    print_object([&](Json& json) {
      json.member("input", input_.name);
      add_result(json, collected_.view());
    });
  }

private:
  const Input& input_;
  size_t size_ = 0;
  Text collected_;
};

int run_encode(const Invocation& call) {
  Input input = input_of(call);
  if (input.stream == nullptr) return kRefused;
  Array<char> bytes;
  bytes.resize(3 * kGroupsAtOnce, '\0');
  Output output(input);
  // fread comes short at the end only, so every piece but the last has whole groups.
  while (size_t size = fread(bytes.data(), 1, bytes.size(), input.stream)) {
    char* text = nullptr;
    uint32_t length = ROQ_UTIL_Base64Encode(bytes.data(), static_cast<int32_t>(size), &text);
    if (length == 0) end_out_of_memory();
    output.write(text, length);
    free(text);
  }
  if (ferror(input.stream) != 0) return stream_failed(call, input.name);
  if (!call.json() && !output.empty()) putchar('\n');
  output.finish([](Json& json, std::string_view text) { json.member("base64", text); });
  return kSuccess;
}

// Decodes pieces of whole groups and keeps the end back, since padding and a last group may be there only.
class Decoder {
public:
  explicit Decoder(const Input& input) : input_(input), output_(input) {}

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
    int code = finish(held);
    if (code == kSuccess)
      output_.finish([](Json& json, std::string_view bytes) { json.key("value"), json.bytes(bytes); });
    return code;
  }

private:
  enum class Place { within, at_end };
  // A shortest text, its padding and a line end.
  static constexpr size_t kKeptBack = 16;

  int finish(size_t held) {
    if (held > 0 && text_[held - 1] == '\n') --held;
    if (held > 0 && text_[held - 1] == '\r') --held;
    if (held == 0 && decoded_ == 0) return kSuccess;
    if (held < 4 && decoded_ == 0)
      return input_.call.no("'%s': fewer than 4 characters are no Base64; give all of it", input_.name);
    return decode(held, Place::at_end);
  }

  int decode(size_t size, Place place) {
    if (place == Place::within && text_[size - 1] == '=') return refuse();
    uint8_t untouched;
    uint8_t* bytes = &untouched;
    uint32_t length = ROQ_UTIL_Base64Decode(text_.data(), static_cast<uint32_t>(size), &bytes);
    if (bytes == nullptr) end_out_of_memory();
    if (length == 0) return refuse();
    output_.write(bytes, length);
    free(bytes);
    decoded_ += size;
    return kSuccess;
  }

  // One of the characters is no digit.
  int refuse() {
    size_t at = 0;
    while (is_digit(text_[at]))
      ++at;
    return input_.call.no("'%s': character %llu (0x%02x) is no Base64 digit; take it out", input_.name,
                          static_cast<unsigned long long>(decoded_ + at + 1),
                          unsigned{static_cast<unsigned char>(text_[at])});
  }

  static bool is_digit(char c) {
    return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '+' || c == '/';
  }

  const Input& input_;
  Output output_;
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
                                        .options = kJsonOnly,
                                        .examples = kEncodeExamples,
                                        .run = run_encode},
                                       {.name = "decode",
                                        .arguments = "[FILE]",
                                        .maximum = 1,
                                        .summary = "decode a file or standard input",
                                        .details = "One line end behind the text is dropped; any other character that "
                                                   "is no digit is refused. Without --json what came before it was "
                                                   "already written.",
                                        .options = kJsonOnly,
                                        .examples = kDecodeExamples,
                                        .run = run_decode}};
constexpr Example kBase64Examples[] = {{"roqutil base64 encode picture.png >picture.txt", "a file"},
                                       {"echo TWFu | roqutil base64 decode", "Man"}};

} // namespace

int run_trim(const Invocation& call) {
  Results results(call, "trimmed");
  int code = for_each_text(call, 0, [&](char* text) {
    // Trimming changes the text itself.
    Text before;
    if (call.json()) before.append(text);
    results.add(before.c_str(), call.has("exact") ? ROQ_UTIL_StrTrimExc(text) : ROQ_UTIL_StrTrim(text));
    return static_cast<int>(kSuccess);
  });
  if (code == kSuccess) results.finish();
  return code;
}

int run_shell_quote(const Invocation& call) {
  Results results(call, "quoted");
  int code = for_each_text(call, 0, [&](const char* text) {
    Array<char> quoted;
    quoted.resize(3 * strlen(text) + 1, '\0');
    ROQ_UTIL_ConvertStrToShellStr(text, quoted.data());
    results.add(text, quoted.data());
    return static_cast<int>(kSuccess);
  });
  if (code == kSuccess) results.finish();
  return code;
}

int run_field(const Invocation& call) {
  auto most = call.option_number("length", kDefaultLength, 1, kLargestLength);
  if (!most) return kUsage;
  const char* key = call.argument(0);
  Results results(call, "word");
  bool is_found = false;
  int code = for_each_text(call, 1, [&](const char* text) {
    // No word is longer than its text.
    auto longest = static_cast<int32_t>(std::min<size_t>(*most, strlen(text)));
    Array<char> word;
    word.resize(static_cast<size_t>(longest) + 1, '\0');
    bool is_found_here = ROQ_UTIL_ParseStrInfo(text, key, word.data(), longest) == 1;
    results.add(text, is_found_here ? word.data() : nullptr);
    is_found = is_found || is_found_here;
    return static_cast<int>(kSuccess);
  });
  if (code != kSuccess) return code;
  results.finish();
  if (is_found) return kSuccess;
  return call.no("key '%s': it occurs nowhere; type it as it stands in the texts", key);
}

constinit const Group base64_group{
    .name = "base64", .summary = "encode and decode Base64", .commands = kBase64Commands, .examples = kBase64Examples};

} // namespace roq::tool
