// Named values in a module's segment.
#ifndef ROQ_GVAR_VARIABLE_H
#define ROQ_GVAR_VARIABLE_H

#include "gvar/segment.h"
#include <span>

namespace roq::gvar {

inline SegmentHeader* segment_of_variable(uint32_t id) { return segment_of(id >> 16); }
inline bool module_of_variable_exists(uint32_t id) { return module_exists(id >> 16); }

// The first node with the id, null when there is none. Presumes that the caller holds the module's lock.
VariableNode* find_variable(const SegmentHeader* segment, uint32_t id);

// To be called when other memory came to stand at a module's address.
void forget_found_variables();

uint32_t set_variable(SegmentHeader* segment, uint32_t id, std::span<const char> value);
void delete_variable(SegmentHeader* segment, uint32_t id);

} // namespace roq::gvar

#endif
