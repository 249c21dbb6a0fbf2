// The outcome of parsing a command line, as a value that can be compared and printed.
#ifndef ROQ_TESTS_UNIT_PROCESS_PARSED_H
#define ROQ_TESTS_UNIT_PROCESS_PARSED_H

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace roq::test::process {

struct ParsedFile {
  std::string name;
  bool append = false;
  bool operator==(const ParsedFile&) const = default;
};

struct Parsed {
  bool succeeded = false;
  std::vector<std::string> arguments;
  std::optional<ParsedFile> output, error;
  bool background = false;
  bool operator==(const Parsed&) const = default;
};

inline const Parsed kParseFailure{};

inline std::string in_quotes(const std::string& text) {
  std::string quoted = "[";
  for (char c : text) {
    constexpr char digits[] = "0123456789abcdef";
    auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f)
      quoted += c;
    else
      (quoted += "\\x") += {digits[byte >> 4], digits[byte & 15]};
  }
  return quoted + "]";
}

inline std::ostream& operator<<(std::ostream& stream, const Parsed& parsed) {
  if (!parsed.succeeded) return stream << "failure";
  for (const std::string& argument : parsed.arguments)
    stream << in_quotes(argument) << ' ';
  if (parsed.output) stream << (parsed.output->append ? ">>" : ">") << in_quotes(parsed.output->name) << ' ';
  if (parsed.error) stream << (parsed.error->append ? "2>>" : "2>") << in_quotes(parsed.error->name) << ' ';
  return stream << (parsed.background ? "&" : "");
}

enum class Plan { given, null };

// Parses with the library, expects that count, vector and plan agree with each other, and releases everything.
Parsed parse(const std::string& line, Plan plan = Plan::given);

// What parsing should give, worked out by other means.
Parsed parse_by_model(const std::string& line, Plan plan = Plan::given);

} // namespace roq::test::process

#endif
