// roqutil doctor: whether this machine has what the library needs.
#ifndef ROQ_TOOL_DOCTOR_H
#define ROQ_TOOL_DOCTOR_H

#include "cli.h"

namespace roq::tool {

int run_doctor(const Invocation& call);
// The words that may stand for AREA.
void add_areas(Candidates& candidates);

inline constexpr Example kDoctorExamples[] = {{"roqutil doctor", "everything"},
                                              {"roqutil doctor gvar dns", "the variable store and the DNS client"},
                                              {"roqutil doctor --json", "the same for a program"}};
inline constexpr Command kDoctorCommand{
    .name = "doctor",
    .arguments = "[AREA...]",
    .maximum = kAnyNumber,
    .summary = "check whether this machine has what the library needs",
    .details = "AREA is gvar, process, dns, net, module, firewall or bus; without one all are checked. Each line says "
               "that something is in place, or what is wrong and what to do. Nothing is changed, and what does not "
               "answer costs a second. The exit code is 1 when there is a problem.",
    .options = kJsonOnly,
    .examples = kDoctorExamples,
    .run = run_doctor};

} // namespace roq::tool

#endif
