#include "gvar/places.h"

#include "gvar/module.h"

namespace roq::tool::gvar {
namespace {

// Nobody is kept waiting, so that the list may be one that a writer is changing; what it leads to is judged anyway.
void add_variables_of(Candidates& candidates, uint32_t module) {
  Snapshot snapshot;
  snapshot.module = look_up_module(module);
  if (snapshot.module.error != 0) return;
  Attachment attachment(snapshot.module, false);
  if (!attachment.ok()) return;
  copy_segment(attachment, snapshot);
  Report report = inspect(snapshot.memory(), snapshot.surroundings());
  bool in_hexadecimal = first(candidates.typed(), 2) == "0x";
  for (const Variable& variable : report.variables) {
    Text id;
    if (in_hexadecimal)
      id.format("0x%08x", variable.id);
    else
      id.format("%u:%u", module, variable.id & 0xFFFF);
    candidates.add(id.view());
  }
}

} // namespace

void add_modules(Candidates& candidates) {
  for (char number = '0'; number < static_cast<char>('0' + kModules); ++number)
    candidates.add({&number, 1});
}

void add_variables(Candidates& candidates) {
  for (uint32_t module = 0; module < kModules; ++module)
    add_variables_of(candidates, module);
}

} // namespace roq::tool::gvar
