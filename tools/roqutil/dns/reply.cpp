#include "dns/reply.h"

namespace roq::tool {
namespace {

constexpr size_t kHeaderSize = 12;

const char* error_name(unsigned code) {
  constexpr const char* names[] = {"no error",     "format error", "server failure",
                                   "no such name", "not known",    "refused"};
  return code < std::size(names) ? names[code] : "see RFC 6895";
}

// Walks over a message; `at` is behind its end once something was cut off.
struct Walk {
  std::span<const uint8_t> message;
  size_t at;

  bool inside() const { return at <= message.size(); }
  unsigned byte() { return ++at <= message.size() ? message[at - 1] : 0; }
  unsigned word() {
    const unsigned high = byte();
    return high << 8 | byte();
  }

  void skip_name() {
    while (inside()) {
      const unsigned length = byte();
      if (length == 0) return;
      if ((length & 0xC0) == 0xC0) {
        byte();
        return;
      }
      at += length;
    }
  }
};

unsigned asked_type(std::span<const uint8_t> query) {
  return query.size() < kHeaderSize + 4 ? 0
                                        : static_cast<unsigned>(query[query.size() - 4] << 8 | query[query.size() - 3]);
}

const char* complaint_about_answers(Walk in, unsigned questions, unsigned answers, unsigned type) {
  for (; questions > 0 && in.inside(); --questions) {
    in.skip_name();
    in.at += 4;
  }
  bool found = false;
  for (; answers > 0 && in.inside(); --answers) {
    in.skip_name();
    found |= in.word() == type && in.inside();
    in.at += 2 + 4;
    const unsigned length = in.word();
    if (in.inside()) in.at += length;
  }
  if (!in.inside()) return "its answers are cut off or lead outside";
  return found ? "" : "no address of the family; aliases are not followed";
}

} // namespace

Text complaint(std::span<const uint8_t> query, std::span<const uint8_t> reply) {
  Text text;
  if (reply.size() < kHeaderSize) {
    text.append("shorter than a header");
    return text;
  }
  Walk in{reply, 0};
  const unsigned id = in.word(), flags = in.word(), questions = in.word(), answers = in.word();
  in.at = kHeaderSize;
  if (query.size() < 2 || id != static_cast<unsigned>(query[0] << 8 | query[1]))
    text.append("the id of another query");
  else if ((flags & 0x8000) == 0)
    text.append("not a response");
  else if ((flags & 0xF) != 0)
    text.format("error code %u, %s", flags & 0xF, error_name(flags & 0xF));
  else if (answers == 0)
    text.append("no answers");
  else
    text.append(complaint_about_answers(in, questions, answers, asked_type(query)));
  return text;
}

} // namespace roq::tool
