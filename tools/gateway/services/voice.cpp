// The voice service: its lines can be used while they are enabled and the WAN connection for telephony is up, which the
// WAN service says in the store.
#include "ids.h"
#include "service.h"
#include "variables.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

using namespace gateway;

constexpr useconds_t kPause = 100'000;

struct Line {
  uint32_t enable, number; // ids of the settings
  uint32_t state, changes; // ids of what is the case
};

constexpr Line kLines[] = {
    {id::voice_1_enable, id::voice_1_number, id::voice_1_now_state, id::voice_1_now_changes},
    {id::voice_2_enable, id::voice_2_number, id::voice_2_now_state, id::voice_2_now_changes},
    {id::voice_3_enable, id::voice_3_number, id::voice_3_now_state, id::voice_3_now_changes},
};

struct Wan {
  uint32_t state, address;
};

constexpr Wan kWans[] = {{id::wan_1_now_state, id::wan_1_now_address},
                         {id::wan_2_now_state, id::wan_2_now_address},
                         {id::wan_3_now_state, id::wan_3_now_address}};

const Wan& chosen_wan() {
  unsigned long number = strtoul(read_value(id::voice_wan).text, nullptr, 10);
  return kWans[number >= 1 && number <= 3 ? number - 1 : 0];
}

void describe(const Line& line, char* state, size_t size) {
  const Wan& wan = chosen_wan();
  if (!read_value(line.enable).is("1")) {
    snprintf(state, size, "disabled");
  } else if (!read_value(wan.state).is("connected")) {
    snprintf(state, size, "no connection");
  } else {
    snprintf(state, size, "ready at %s", read_value(wan.address).text);
  }
}

// Whether something changed.
bool follow(const Line& line) {
  char state[80];
  describe(line, state, sizeof state);
  if (read_value(line.state).is(state)) return false;
  write_value(line.state, state);
  count_one_more(line.changes);
  return true;
}

void say(const Line& line) { printf("voice: %s: %s\n", read_value(line.number).text, read_value(line.state).text); }

} // namespace

int main() {
  Service service("voice");
  if (!attach_store("voice")) return 1;
  for (const Line& line : kLines) {
    follow(line);
    say(line);
  }
  service.is_ready();
  while (Service::is_wanted()) {
    for (const Line& line : kLines) {
      if (follow(line)) say(line);
    }
    count_one_more(id::voice_looks);
    usleep(kPause);
  }
  return 0;
}
