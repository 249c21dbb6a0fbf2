// The small text files under /var and /proc that steer the DNS client.
#ifndef ROQ_DNS_TEXT_FILE_H
#define ROQ_DNS_TEXT_FILE_H

#include <span>

namespace roq::dns {

// The first line of a file, line end included, cut to the room less one; empty when the file is. False, with `line`
// left alone, when the file cannot be opened. The room is at least one character.
[[nodiscard]] bool read_first_line(const char* path, std::span<char> line);

// Ends the text at its first white space.
void cut_at_space(char* text);

} // namespace roq::dns

#endif
