// roqutil gvar: the variable store.
#include "groups.h"

#include "json.h"
#include <roqutil/gvar.h>

namespace roq::tool {
namespace {

constexpr uint32_t kModules = 7;
constexpr uint32_t kHeaderSize = 52;
constexpr uint32_t kDefaultSize = 0x10000;
constexpr uint32_t kSmallestSize = 1024;
constexpr uint32_t kLargestSize = 0x80000;

int run_init(const Invocation& call) {
  auto module = call.number(call.argument(0), "module", 0, kModules - 1);
  if (!module) return kUsage;
  auto size = call.option_number("size", kDefaultSize, kSmallestSize, kLargestSize);
  if (!size) return kUsage;
  auto header = call.option_number("header", kHeaderSize, kHeaderSize, *size - 24);
  if (!header) return kUsage;

  uint32_t created = 0;
  if (ROQ_UTIL_GVarInitEx(*module, *size, *header, call.has("no-lock") ? 0 : 1, &created) != 0)
    return call.refused("module %u could not be initialised", *module);
  if (call.json()) {
    Json json;
    json.begin_object();
    json.member("module", *module);
    json.member("created", created == 1);
    json.end_object();
    json.print();
  } else {
    printf("module %u: %s\n", *module, created == 1 ? "created" : "existed already");
  }
  return kSuccess;
}

constexpr Option kInitOptions[] = {{"size", "BYTES", "size of a new segment, 1024 to 0x80000 (default 0x10000)"},
                                   {"header", "BYTES", "bytes in front of the pool (default 52)"},
                                   {"no-lock", nullptr, "switch locking off, for every process"},
                                   kJsonOption};
constexpr Example kInitExamples[] = {{"roqutil gvar init 2", "module 2 with 64 KiB"},
                                     {"roqutil gvar init 3 --size 0x80000", "module 3 with all it may have"}};

constexpr Command kCommands[] = {{.name = "init",
                                  .arguments = "MODULE",
                                  .minimum = 1,
                                  .maximum = 1,
                                  .summary = "create a module's segment, or attach the existing one",
                                  .options = kInitOptions,
                                  .examples = kInitExamples,
                                  .run = run_init}};

} // namespace

const Group gvar_group{.name = "gvar",
                       .summary = "the store of variables that all processes share",
                       .commands = kCommands,
                       .examples = kInitExamples};

} // namespace roq::tool
