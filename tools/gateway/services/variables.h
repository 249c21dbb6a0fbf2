// Variables of the store as the gateway's services use them: texts and small numbers.
#ifndef GATEWAY_VARIABLES_H
#define GATEWAY_VARIABLES_H

#include <cstddef>
#include <cstdint>

namespace gateway {

inline constexpr uint32_t kConfiguration = 0; // the modules of the store
inline constexpr uint32_t kStatus = 1;

// The text of a variable, cut to the room there is, empty when there is no such variable.
struct Value {
  char text[64];

  bool is(const char* other) const;
};

Value read_value(uint32_t id);
bool write_value(uint32_t id, const char* text);
void count_one_more(uint32_t id);

// Attaches both modules. Prints why not and returns false when the configuration manager has not made them.
bool attach_store(const char* program);

} // namespace gateway

#endif
