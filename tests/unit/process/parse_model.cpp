// The parser once more, written from its manual over std::string and with an explicit state per character.
#include "parsed.h"

#include <array>
#include <set>

namespace roq::test::process {
namespace {

using Tokens = std::vector<std::string>;

std::optional<Tokens> split(const std::string& line) {
  enum { between, plain, escaped, quoted, escaped_in_quotes } state = between;
  char quote = 0;
  Tokens tokens;
  const std::string white = " \t\n\v\f\r";
  const std::string enders = white + "\b";
  for (char c : line) {
    switch (state) {
    case between:
      if (white.find(c) != std::string::npos) break;
      tokens.emplace_back();
      state = plain;
      [[fallthrough]];
    case plain:
      if (enders.find(c) != std::string::npos) {
        state = between;
        break;
      }
      tokens.back() += c;
      if (c == '\\') state = escaped;
      if (c == '\'' || c == '"') {
        quote = c;
        state = quoted;
      }
      break;
    case escaped:
      tokens.back() += c;
      state = plain;
      break;
    case quoted:
      tokens.back() += c;
      if (c == '\\')
        state = escaped_in_quotes;
      else if (c == quote)
        state = plain;
      break;
    case escaped_in_quotes:
      tokens.back() += c;
      state = quoted;
      break;
    }
  }
  if (state == quoted || state == escaped_in_quotes) return std::nullopt;
  return tokens;
}

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool starts_with(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

class Passes {
public:
  Passes(Tokens& tokens, Parsed& parsed) : tokens_(tokens), parsed_(parsed) {}

  void run() {
    for (int pass : {1, 2}) {
      if (tokens_.size() >= 2) run_pass(pass);
    }
  }

private:
  static constexpr int kOutput = 1, kError = 2;

  std::optional<ParsedFile>& file(int descriptor) { return descriptor == kOutput ? parsed_.output : parsed_.error; }

  void assign(int pass, int descriptor, const std::string& name, bool append) {
    if (pass == 1 || !file(descriptor).has_value()) file(descriptor) = ParsedFile{name, append};
  }

  void drop(size_t count) { tokens_.resize(tokens_.size() - count); }

  void run_pass(int pass) {
    const std::string last = tokens_[tokens_.size() - 1];
    const std::string before = tokens_[tokens_.size() - 2];
    if (std::set<std::string>{"2>&1", "1>&2", "1>&1", "2>&2"}.count(last) != 0) {
      drop(1);
      if (pass == 2 && last == "2>&1" && !parsed_.error) parsed_.error = parsed_.output;
      if (pass == 2 && last == "1>&2" && !parsed_.output) parsed_.output = parsed_.error;
    } else if (before == ">" || before == ">>") {
      assign(pass, kOutput, last, before == ">>");
      drop(2);
    } else if (starts_with(last, ">")) {
      if (starts_with(last, ">>")) {
        if (last.size() > 2) assign(pass, kOutput, last.substr(2), true);
      } else if (last.size() > 1) {
        assign(pass, kOutput, last.substr(1), false);
      }
      drop(1);
    } else if (starts_with(last, "1>") || starts_with(last, "2>")) {
      int descriptor = last[0] - '0';
      if (last.size() >= 4 && last[2] == '>')
        assign(pass, descriptor, last.substr(3), true);
      else if (last.size() >= 3)
        assign(pass, descriptor, last.substr(2), false);
      drop(1);
    } else if (ends_with(before, ">>")) {
      assign(pass, before == "2>>" ? kError : kOutput, last, true);
      drop(2);
    } else if (ends_with(before, ">")) {
      assign(pass, pass == 1 && before == "2>" ? kError : kOutput, last, false);
      drop(2);
    }
  }

  Tokens& tokens_;
  Parsed& parsed_;
};

std::optional<std::string> without_quotes(const std::string& token) {
  std::string text;
  size_t at = 0;
  while (at < token.size()) {
    char c = token[at];
    if (c == '\'' || c == '"') {
      size_t close = token.find(c, at + 1);
      if (close == std::string::npos) return std::nullopt;
      text += token.substr(at + 1, close - at - 1);
      at = close + 1;
    } else if (c == '\\') {
      if (at + 1 < token.size()) text += token[at + 1];
      at += 2;
    } else {
      text += c;
      at += 1;
    }
  }
  return text;
}

} // namespace

Parsed parse_by_model(const std::string& line, Plan plan) {
  if (line.size() > 4096) return kParseFailure;
  std::optional<Tokens> tokens = split(line);
  if (!tokens) return kParseFailure;
  Parsed parsed{true, {}, {}, {}, false};
  if (plan == Plan::given) {
    if (!tokens->empty() && ends_with(tokens->back(), "&")) {
      parsed.background = true;
      tokens->back().pop_back();
      if (tokens->back().empty()) tokens->pop_back();
    }
    Passes(*tokens, parsed).run();
  }
  for (size_t i = 0; i < tokens->size(); ++i) {
    const std::string& token = (*tokens)[i];
    std::optional<std::string> text = i == 0 ? token : without_quotes(token);
    if (!text) return kParseFailure;
    if (i == 0 && starts_with(*text, "./")) text->erase(0, 2);
    parsed.arguments.push_back(*text);
  }
  return parsed;
}

} // namespace roq::test::process
