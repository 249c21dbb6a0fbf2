// Modules as a whole: init, attach, show, delete-module.
#include "gvar/commands.h"

#include "gvar/inspect.h"
#include "gvar/module.h"
#include "json.h"
#include <cerrno>
#include <cstring>
#include <roqutil/gvar.h>

namespace roq::tool::gvar {
namespace {

constexpr uint32_t kDefaultSize = 0x10000;

// The library tells no reason; what the kernel says about the module does.
int explain_init(const Invocation& call, uint32_t number, uint32_t size, int error) {
  Module module = look_up_module(number);
  if (module.key == -1) return call.refused("module %u: /var/: %s; make that folder", number, strerror(errno));
  if (module.error == EACCES || module.error == EPERM)
    return call.refused("module %u: its segment: %s; run as a user who may use the store", number,
                        strerror(module.error));
  if (module.segment_id >= 0 && module.size < size)
    return call.refused("module %u: its segment exists with %u bytes, fewer than the %u asked for; ask for no more, or "
                        "delete the module first",
                        number, module.size, size);
  return call.refused("module %u: it could not be initialised: %s; see 'roqutil doctor gvar'", number, strerror(error));
}

void print_processes(Text& out, const Array<pid_t>& processes) {
  for (const pid_t& process : processes)
    out.format("%s%d", &process == processes.begin() ? "" : ", ", process);
}

struct View {
  Snapshot snapshot;
  Report report;
  std::optional<SemaphoreState> semaphore;
  Array<pid_t> waiting;
  uint32_t field(uint32_t offset) const { return read32(snapshot.bytes.data(), offset); }
};

void show_segment(const View& view) {
  const Module& module = view.snapshot.module;
  printf("module %u\n", module.number);
  printf("  segment    id %d, key 0x%08x, %u bytes at 0x%08x, attached by %u processes\n", module.segment_id,
         static_cast<unsigned>(module.key), module.size, address_of_module(module.number), module.attached);
  printf("  header     magic 0x%08x, %u bytes, pool of %u bytes, semaphore id %d%s\n", view.field(kMagicAt),
         read16(view.snapshot.bytes.data(), kHeaderSizeAt), view.field(kPoolLengthAt),
         static_cast<int32_t>(view.field(kSemaphoreAt)), view.field(kSemaphoreAt) == 0 ? " (locking is off)" : "");
}

void show_semaphore(const View& view) {
  if (!view.semaphore) {
    printf("  semaphore  none\n");
    return;
  }
  Text waiting;
  if (!view.waiting.empty()) {
    waiting.append(" (");
    print_processes(waiting, view.waiting);
    waiting.append(")");
  }
  printf("  semaphore  id %d, %d of %d units free, %d processes wait%s, last used by process %d\n",
         view.snapshot.module.semaphore_id, view.semaphore->value, kAllUnits, view.semaphore->waiting, waiting.c_str(),
         view.semaphore->last_user);
}

void show_pool(const View& view) {
  const Report& report = view.report;
  printf("  variables  %zu\n", report.variables.size());
  printf("  pool       %u bytes in %u blocks allocated, %u bytes in %u blocks free, the largest %u\n",
         report.allocated_bytes, report.allocated_blocks, report.free_bytes, report.free_blocks, report.largest_free);
  printf("             %d allocations and %d releases so far\n", static_cast<int32_t>(view.field(kGetcountAt)),
         static_cast<int32_t>(view.field(kRelcountAt)));
  printf("  unlisted   %u bytes in %u blocks that no listed variable uses\n", report.unlisted_bytes,
         report.unlisted_blocks);
  if (!report.clean())
    printf("  damaged    %zu broken invariants; see 'roqutil gvar check %u'\n", report.findings.size(),
           view.snapshot.module.number);
}

void put_semaphore(Json& json, const View& view) {
  json.key("semaphore");
  if (!view.semaphore) {
    json.null();
    return;
  }
  json.begin_object();
  json.member("id", view.snapshot.module.semaphore_id);
  json.member("value", view.semaphore->value);
  json.member("units", kAllUnits);
  json.member("waiting", view.semaphore->waiting);
  json.key("waiting_processes");
  json.begin_array();
  for (pid_t process : view.waiting)
    json.number(process);
  json.end_array();
  json.member("last_process", view.semaphore->last_user);
  json.end_object();
}

void put_segment(Json& json, const View& view) {
  const Module& module = view.snapshot.module;
  json.member("module", module.number);
  json.key("segment");
  json.begin_object();
  json.member("id", module.segment_id);
  json.member_hex("key", static_cast<uint32_t>(module.key));
  json.member("size", module.size);
  json.member_hex("address", address_of_module(module.number));
  json.member("attached", module.attached);
  json.end_object();
  json.key("header");
  json.begin_object();
  json.member_hex("magic", view.field(kMagicAt));
  json.member("header_size", read16(view.snapshot.bytes.data(), kHeaderSizeAt));
  json.member("pool_length", view.field(kPoolLengthAt));
  json.member("semaphore_id", static_cast<int32_t>(view.field(kSemaphoreAt)));
  json.member("locking", view.field(kSemaphoreAt) != 0);
  json.end_object();
}

void put_pool(Json& json, const View& view) {
  const Report& report = view.report;
  json.member("variables", report.variables.size());
  json.key("pool");
  json.begin_object();
  json.member("allocated_bytes", report.allocated_bytes);
  json.member("allocated_blocks", report.allocated_blocks);
  json.member("free_bytes", report.free_bytes);
  json.member("free_blocks", report.free_blocks);
  json.member("largest_free", report.largest_free);
  json.member("allocations", static_cast<int32_t>(view.field(kGetcountAt)));
  json.member("releases", static_cast<int32_t>(view.field(kRelcountAt)));
  json.member("unlisted_bytes", report.unlisted_bytes);
  json.member("unlisted_blocks", report.unlisted_blocks);
  json.end_object();
  json.member("broken_invariants", report.findings.size());
}

} // namespace

std::optional<uint32_t> module_argument(const Invocation& call) {
  return call.number(call.argument(0), "module", 0, kModules - 1);
}

int run_init(const Invocation& call) {
  auto number = module_argument(call);
  if (!number) return kUsage;
  auto size = call.option_number("size", kDefaultSize, kSmallestSegment, kLargestSegment);
  if (!size) return kUsage;
  auto header = call.option_number("header", kFixedHeader, kFixedHeader, *size - kSmallestPool);
  if (!header) return kUsage;
  if (*header % kQuantum != 0) return call.wrong("--header '%u': expected a multiple of 4", *header);

  uint32_t created = 0;
  errno = 0;
  if (ROQ_UTIL_GVarInitEx(*number, *size, *header, call.has("no-lock") ? 0 : 1, &created) != 0)
    return explain_init(call, *number, *size, errno);
  Module module = look_up_module(*number);
  warn_of_ids(module);
  if (call.json()) {
    print_object([&](Json& json) {
      json.member("module", *number);
      json.member("created", created == 1);
      json.member("size", module.size);
      json.member_hex("address", address_of_module(*number));
    });
    return kSuccess;
  }
  printf("module %u: %s, %u bytes at 0x%08x\n", *number, created == 1 ? "created" : "existed already", module.size,
         address_of_module(*number));
  return kSuccess;
}

int run_attach(const Invocation& call) {
  auto number = module_argument(call);
  if (!number) return kUsage;
  Module module;
  if (std::optional<int> code = find_module(call, *number, module)) return *code;
  if (std::optional<int> code = attach_module(call, *number)) return *code;
  return run_show(call);
}

int run_show(const Invocation& call) {
  auto number = module_argument(call);
  if (!number) return kUsage;
  View view;
  // Somebody who holds the lock for long is just what the reader may be after.
  if (std::optional<int> code = take_snapshot(call, *number, Locking::if_possible, view.snapshot)) return *code;
  const Snapshot& snapshot = view.snapshot;
  view.report = inspect(snapshot.memory(), snapshot.surroundings());
  view.semaphore = state_of(snapshot.module.semaphore_id);
  if (view.semaphore && view.semaphore->waiting > 0) view.waiting = processes_waiting_for(snapshot.module.semaphore_id);
  if (call.json()) {
    print_object([&](Json& json) {
      put_segment(json, view);
      put_semaphore(json, view);
      put_pool(json, view);
      json.member("locked_snapshot", snapshot.locked);
    });
    return kSuccess;
  }
  show_segment(view);
  show_semaphore(view);
  show_pool(view);
  if (!snapshot.locked) printf("  (the lock was not to be had: a writer may have been at work while this was read)\n");
  return kSuccess;
}

int run_delete_module(const Invocation& call) {
  auto number = module_argument(call);
  if (!number) return kUsage;
  Module module;
  if (std::optional<int> code = find_module(call, *number, module)) return *code;
  errno = 0;
  uint32_t result = ROQ_UTIL_GVarDelModule(*number, module.size);
  if (result != 0)
    return call.refused("module %u: its segment %d was not removed: %s; %s", *number, module.segment_id,
                        module.segment_id == 0 ? "the store does not delete the id 0" : strerror(errno),
                        module.segment_id == 0 ? "remove it with ipcrm -m 0" : "run as its owner");
  if (call.json()) {
    print_object([&](Json& json) {
      json.member("module", *number);
      json.member("segment", module.segment_id);
      json.member("still_attached", module.attached);
    });
    return kSuccess;
  }
  printf("module %u: segment %d removed; %u processes keep their mapping of it, its semaphore set stays\n", *number,
         module.segment_id, module.attached);
  return kSuccess;
}

} // namespace roq::tool::gvar
