#include "doctor.h"

#include "complete.h"
#include "doctor/checkup.h"
#include <cstring>

namespace roq::tool {

namespace doctor {

Checkup::Checkup(const Invocation& call) : as_json_(call.json()), colours_(stdout) {
  json_.begin_object();
  json_.key("checks");
  json_.begin_array();
}

void Checkup::report(const char* subject, const char* found, const char* advice) {
  bool is_ok = advice == nullptr;
  ++checks_;
  if (!is_ok) ++problems_;
  if (!as_json_) {
    printf("%s%-7s%s  %-8s  %s: %s%s%s\n", colours_.begin(is_ok ? Colour::good : Colour::bad), is_ok ? "ok" : "problem",
           colours_.end(), area_, subject, found, is_ok ? "" : "; ", is_ok ? "" : advice);
    return;
  }
  json_.begin_object();
  json_.member("area", area_);
  json_.member("subject", subject);
  json_.member("ok", is_ok);
  json_.member("found", found);
  json_.member("advice", advice);
  json_.end_object();
}

int Checkup::finish() {
  if (as_json_) {
    json_.end_array();
    json_.member("problems", problems_);
    json_.end_object();
    json_.print();
  } else if (problems_ == 0) {
    printf("%u checks: all ok\n", checks_);
  } else {
    printf("%u checks: %u problem%s\n", checks_, problems_, problems_ == 1 ? "" : "s");
  }
  return problems_ == 0 ? kSuccess : kNo;
}

} // namespace doctor

namespace {

struct Area {
  const char* name;
  void (*check)(doctor::Checkup& checkup);
};

constexpr Area kAreas[] = {
    {"gvar", doctor::check_gvar}, {"process", doctor::check_process}, {"dns", doctor::check_dns},
    {"net", doctor::check_net},   {"module", doctor::check_module},   {"firewall", doctor::check_firewall},
    {"bus", doctor::check_bus},
};

const Area* area_named(const char* name) {
  for (const Area& area : kAreas)
    if (strcmp(area.name, name) == 0) return &area;
  return nullptr;
}

bool is_asked_for(const Invocation& call, const Area& area) {
  if (call.count() == 0) return true;
  for (const char* name : call.arguments())
    if (strcmp(area.name, name) == 0) return true;
  return false;
}

} // namespace

void add_areas(Candidates& candidates) {
  for (const Area& area : kAreas)
    candidates.add(area.name);
}

int run_doctor(const Invocation& call) {
  for (const char* name : call.arguments())
    if (area_named(name) == nullptr)
      return call.wrong("area '%s': expected gvar, process, dns, net, module, firewall or bus", name);
  doctor::Checkup checkup(call);
  for (const Area& area : kAreas) {
    if (!is_asked_for(call, area)) continue;
    checkup.begin(area.name);
    area.check(checkup);
  }
  return checkup.finish();
}

} // namespace roq::tool
