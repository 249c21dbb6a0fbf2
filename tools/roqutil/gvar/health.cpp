// The state of a segment: map, check, repair.
#include "gvar/commands.h"

#include "colours.h"
#include "gvar/findings.h"
#include "gvar/map.h"
#include "gvar/module.h"
#include "gvar/repair.h"
#include "json.h"
#include <cerrno>
#include <cstring>

namespace roq::tool::gvar {
namespace {

// ---- map

std::optional<int> write_file(const Invocation& call, const char* path, std::string_view content) {
  FILE* stream = fopen(path, "we");
  if (stream == nullptr) return call.refused("%s: %s; name a file that can be written", path, strerror(errno));
  bool written = fwrite(content.data(), 1, content.size(), stream) == content.size();
  written = fclose(stream) == 0 && written;
  if (!written) return call.refused("%s: %s; the file is not complete", path, strerror(errno));
  return std::nullopt;
}

void put_blocks(Json& json, const Report& report) {
  json.key("blocks");
  json.begin_array();
  for (const Block& block : report.blocks) {
    json.begin_object();
    json.member_hex("address", block.address);
    json.member("size", block.size);
    json.member("use", name_of(block.use));
    json.key("variable");
    if (block.use == Use::node || block.use == Use::value)
      json.hex_number(report.variables[block.variable].id);
    else
      json.null();
    json.end_object();
  }
  json.end_array();
}

void put_usage(Json& json, const Report& report) {
  json.member("variables", report.variables.size());
  json.member("allocated_blocks", report.allocated_blocks);
  json.member("allocated_bytes", report.allocated_bytes);
  json.member("free_blocks", report.free_blocks);
  json.member("free_bytes", report.free_bytes);
  json.member("unlisted_blocks", report.unlisted_blocks);
  json.member("unlisted_bytes", report.unlisted_bytes);
  json.member("dropped_variables", report.dropped_variables);
}

void append_usage(Text& out, const Report& report) {
  out.format("%zu variables, %u bytes allocated, %u bytes free", report.variables.size(), report.allocated_bytes,
             report.free_bytes);
  if (report.unlisted_blocks == 0) return;
  out.format("; %u blocks (%u bytes) are used by no listed variable", report.unlisted_blocks, report.unlisted_bytes);
  if (report.dropped_variables != 0)
    out.format(", %u of them look like a variable dropped by a deletion", report.dropped_variables);
}

// ---- check

void put_findings(Json& json, const Report& report) {
  json.key("findings");
  json.begin_array();
  for (const Finding& finding : report.findings) {
    Text expected, actual;
    append_expected(expected, finding);
    append_actual(actual, finding);
    json.begin_object();
    json.member("invariant", name_of(finding.invariant));
    json.member_hex("address", finding.address);
    json.member("expected", expected.view());
    json.member("actual", actual.view());
    json.member("meaning", sentence_of(finding.invariant));
    json.end_object();
  }
  json.end_array();
  json.key("notes");
  json.begin_array();
  for (const Note& note : report.notes) {
    Text sentence;
    append_sentence(sentence, note);
    json.begin_object();
    json.member("note", name_of(note.kind));
    json.member_hex("address", note.address);
    json.member("meaning", sentence.view());
    json.end_object();
  }
  json.end_array();
}

void print_check_as_json(uint32_t module, const Report& report) {
  print_object([&](Json& json) {
    json.member("module", module);
    json.member("clean", report.clean());
    json.member("chain_is_intact", report.chain_is_intact);
    put_findings(json, report);
    put_usage(json, report);
  });
}

void append_verdict(Text& out, uint32_t module, const Report& report, const Colours& colours) {
  out.format("module %u: %s", module, colours.begin(report.clean() ? Colour::good : Colour::bad));
  if (report.clean())
    out.append("clean");
  else
    out.format("damaged, %zu broken invariant%s", report.findings.size(), report.findings.size() == 1 ? "" : "s");
  out.format("%s; ", colours.end());
  append_usage(out, report);
  out.append('\n');
}

void append_findings(Text& out, const Report& report) {
  for (const Finding& finding : report.findings) {
    out.format("  0x%08x %s: expected ", finding.address, name_of(finding.invariant));
    append_expected(out, finding);
    out.append(", found ");
    append_actual(out, finding);
    out.format(" (%s)\n", sentence_of(finding.invariant));
  }
  if (!report.chain_is_intact && !report.blocks.empty())
    out.format("  the blocks were followed to 0x%08x; links behind it were not judged\n", report.chain_breaks_at);
  for (const Note& note : report.notes) {
    out.append("  note: ");
    append_sentence(out, note);
    out.append('\n');
  }
}

// ---- repair

const char* reason_of(Refusal refusal) {
  switch (refusal) {
  case Refusal::segment_size:
    return "the segment has a size the store never creates";
  case Refusal::pool_unknown:
    return "header size and pool length contradict each other, and the blocks agree with neither";
  case Refusal::chain_broken:
    return "the block chain itself is broken, and what lies behind is unknown";
  case Refusal::still_damaged:
    return "what could be repaired is not enough";
  case Refusal::none:
    break;
  }
  return "";
}

// Only what has changed: the module's own area may be in use at this moment.
void write_back(uint8_t* live, const Array<uint8_t>& before, const Array<uint8_t>& after) {
  for (size_t at = 0; at < before.size(); ++at)
    if (before[at] != after[at]) live[at] = after[at];
}

void print_repair_as_json(uint32_t module, const Repair& repair) {
  print_object([&](Json& json) {
    json.member("module", module);
    json.member("changed_fields", repair.fields);
    json.member("list_was_cut", repair.list_was_cut);
    json.key("cut_at");
    if (repair.list_was_cut)
      json.hex_number(repair.cut_at);
    else
      json.null();
    json.member("variables", repair.kept_variables);
    json.member("released_blocks", repair.released_blocks);
    json.member("released_bytes", repair.released_bytes);
    json.member("unlisted_blocks", repair.unlisted_blocks);
    json.member("unlisted_bytes", repair.unlisted_bytes);
  });
}

void print_repair(uint32_t module, const Repair& repair) {
  if (repair.fields == 0)
    printf("module %u: nothing to repair", module);
  else
    printf("module %u: repaired, %u fields changed", module, repair.fields);
  printf("; %u variables are listed\n", repair.kept_variables);
  if (repair.list_was_cut)
    printf("  the variable list was cut at 0x%08x, the first link that could not be proved\n", repair.cut_at);
  if (repair.released_blocks != 0)
    printf("  %u unlisted blocks (%u bytes) were given back\n", repair.released_blocks, repair.released_bytes);
  if (repair.unlisted_blocks != 0)
    printf("  %u blocks (%u bytes) are used by no listed variable; --release-unlisted gives them back\n",
           repair.unlisted_blocks, repair.unlisted_bytes);
}

} // namespace

int run_map(const Invocation& call) {
  auto module = module_argument(call);
  if (!module) return kUsage;
  Report report;
  if (std::optional<int> code = inspect_module(call, *module, report)) return *code;
  if (const char* path = call.value("svg")) {
    Text svg;
    append_svg(svg, report, *module);
    if (std::optional<int> code = write_file(call, path, svg.view())) return *code;
  }
  if (call.json()) {
    print_object([&](Json& json) {
      json.member("module", *module);
      json.member_hex("pool", report.pool);
      json.member("bytes", report.pool_end - report.pool);
      put_blocks(json, report);
      put_usage(json, report);
    });
  } else {
    Text picture;
    append_map(picture, report, Colours(stdout));
    append_usage(picture, report);
    puts(picture.c_str());
  }
  if (report.clean()) return kSuccess;
  return call.no("module %u: it is damaged, and the picture may be wrong; see 'roqutil gvar check %u'", *module,
                 *module);
}

int run_check(const Invocation& call) {
  auto module = module_argument(call);
  if (!module) return kUsage;
  Report report;
  if (std::optional<int> code = inspect_module(call, *module, report)) return *code;
  if (call.json()) {
    print_check_as_json(*module, report);
  } else {
    Text text;
    append_verdict(text, *module, report, Colours(stdout));
    append_findings(text, report);
    fputs(text.c_str(), stdout);
  }
  return report.clean() ? kSuccess : kNo;
}

int run_repair(const Invocation& call) {
  auto number = module_argument(call);
  auto seconds = number ? call.option_number("wait", kDefaultWait, 0, kLongestWait) : std::nullopt;
  if (!seconds) return kUsage;
  Module module;
  if (std::optional<int> code = find_module(call, *number, module)) return *code;
  Attachment attachment(module, true);
  if (!attachment.ok()) return explain_attach(call, module, attachment.error());
  int semaphore_id = attachment.lock_id(module);
  if (semaphore_id == 0) warn("module %u: no lock protects it; see that nothing else uses it now", *number);
  Lock lock(semaphore_id, kAllUnits, *seconds);
  if (!lock.holds()) return explain_lock(call, module, lock, semaphore_id, *seconds);

  if (module.size > kLargestSegment)
    return call.no("module %u: nothing was changed: %s; delete the module", *number, reason_of(Refusal::segment_size));
  Array<uint8_t> before, after;
  before.resize(module.size, 0);
  memcpy(before.data(), attachment.bytes(), module.size);
  after.resize(module.size, 0);
  memcpy(after.data(), before.data(), module.size);
  Repair done = repair(after.data(), module.size, address_of_module(*number), {*number, module.semaphore_id},
                       call.has("release-unlisted"));
  if (done.refusal != Refusal::none)
    return call.no(
        "module %u: nothing was changed: at 0x%08x %s; save what 'roqutil gvar list %u' still shows and delete "
        "the module",
        *number, done.refused_at, reason_of(done.refusal), *number);
  write_back(attachment.bytes(), before, after);
  if (call.json())
    print_repair_as_json(*number, done);
  else
    print_repair(*number, done);
  return kSuccess;
}

} // namespace roq::tool::gvar
