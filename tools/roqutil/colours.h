// Colours, by what a part of the text means. They belong on a terminal, and not there either when NO_COLOR says so.
#ifndef ROQ_TOOL_COLOURS_H
#define ROQ_TOOL_COLOURS_H

#include <cstdint>
#include <cstdio>

namespace roq::tool {

enum class Colour : uint8_t { good, bad, doubtful, prominent, faint };

bool colours_allowed(FILE* stream);

class Colours {
public:
  explicit Colours(bool on) : on_(on) {}
  explicit Colours(FILE* stream) : on_(colours_allowed(stream)) {}

  bool on() const { return on_; }
  // What switches the terminal to a colour and back; empty texts without colours.
  const char* begin(Colour colour) const;
  const char* end() const;

private:
  bool on_;
};

} // namespace roq::tool

#endif
