// What the doctor finds, check by check.
#ifndef ROQ_TOOL_DOCTOR_CHECKUP_H
#define ROQ_TOOL_DOCTOR_CHECKUP_H

#include "cli.h"
#include "colours.h"
#include "json.h"

namespace roq::tool::doctor {

class Checkup {
public:
  explicit Checkup(const Invocation& call);

  // The checks that follow belong to it.
  void begin(const char* area) { area_ = area; }

  // How the subject was found, and for a problem what to do.
  void ok(const char* subject, const char* found) { report(subject, found, nullptr); }
  void problem(const char* subject, const char* found, const char* advice) { report(subject, found, advice); }
  // The one or the other.
  void expect(bool holds, const char* subject, const char* found, const char* advice) {
    report(subject, found, holds ? nullptr : advice);
  }

  // Prints the sum and returns the exit code.
  int finish();

private:
  void report(const char* subject, const char* found, const char* advice);

  bool as_json_;
  Colours colours_;
  const char* area_ = "";
  unsigned checks_ = 0, problems_ = 0;
  Json json_;
};

void check_gvar(Checkup& checkup);
void check_process(Checkup& checkup);
void check_dns(Checkup& checkup);
void check_wan_files(Checkup& checkup);
void check_net(Checkup& checkup);
void check_module(Checkup& checkup);
void check_firewall(Checkup& checkup);
void check_bus(Checkup& checkup);

} // namespace roq::tool::doctor

#endif
