// Base64 with the standard alphabet and padding, without line breaks.
#ifndef ROQ_STRUTIL_BASE64_H
#define ROQ_STRUTIL_BASE64_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace roq::strutil {

// Writes four characters for every three bytes begun, without a terminator, and returns their number.
size_t encode_base64(std::span<const uint8_t> bytes, char* out);

// The number of characters in front of the padding, which is one or two "=" at the very end. The text is not empty.
size_t length_without_padding(std::span<const char> text);

bool are_base64_digits(std::span<const char> text);

// Writes the bytes that the digits stand for and returns their number: a last group of two digits makes one byte, of
// three two, of one none. The digits were found valid before. Up to three bytes more than counted are written to.
size_t decode_base64(std::span<const char> digits, uint8_t* out);

} // namespace roq::strutil

#endif
