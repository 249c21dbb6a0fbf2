#include "dns/host_entry.h"

#include "dns/lookup.h"
#include "dns/text_file.h"
#include "support/ipv4_text.h"
#include "support/numbers.h"
#include "support/owners.h"
#include "support/text.h"
#include <arpa/inet.h>

namespace roq::dns {
namespace {

bool is_switched_on(const char* path) {
  char line[32];
  return !read_first_line(path, line) || parse_signed(line).value == 1;
}

char* align_for_pointers(char* place) {
  const auto address = reinterpret_cast<uintptr_t>(place);
  return place + (0 - address) % sizeof(char*);
}

bool parse_address(const char* name, const AddressFamily& family, char* address) {
  if (family.number == AF_INET6) return inet_pton(AF_INET6, name, address) == 1;
  in_addr parsed;
  if (!parse_lenient_ipv4(name, parsed)) return false;
  memcpy(address, &parsed, sizeof parsed);
  return true;
}

void fill_record(const HostRequest& request, const HostBuffer& buffer, const AddressFamily& family) {
  request.record->h_name = buffer.name;
  request.record->h_addrtype = family.number;
  request.record->h_length = static_cast<int>(family.address_size);
  request.record->h_addr_list = buffer.addresses;
  if (buffer.aliases != nullptr) request.record->h_aliases = buffer.aliases;
  *request.result = request.record;
}

// The documented shortage, which counts with pointers of 4 bytes.
bool answer_overflows(const dns_answer& answer, size_t name_size) {
  return room_for(answer, answer.add_count) + kNameAreaMinimum > name_size;
}

int32_t query(const char* name, HostBuffer& buffer, const AddressFamily& family, const char* source) {
  dns_answer answer{};
  answer.buf = reinterpret_cast<uint8_t*>(buffer.name);
  answer.buflen = static_cast<uint32_t>(buffer.name_size);
  uint8_t* reply = nullptr;
  if (lookup(name, family.record_type, &reply, &answer, source) < 0) return kNotFound;
  MallocPtr<uint8_t> packet(reply);
  MallocPtr<char> owner(answer.dotted);

  if (answer_overflows(answer, buffer.name_size)) return kBufferTooSmall;
  if (answer.atype != family.record_type || answer.rdlength != static_cast<int32_t>(family.address_size)) {
    return kNotFound;
  }
  if (answer.add_count > 0 && !place_further_addresses(buffer, answer.add_count, family)) return kBufferTooSmall;
  copy_cut(buffer.name, buffer.name_size, owner.get());
  memcpy(buffer.first_address, answer.rdata, family.address_size);
  return kResolved;
}

int32_t resolve_with(const char* name, const HostRequest& request, const AddressFamily& family, const char* source) {
  std::optional<HostBuffer> buffer = carve(request.buffer, request.buffer_size, family);
  if (!buffer) return kBufferTooSmall;
  copy_cut(buffer->name, buffer->name_size, name);
  if (!parse_address(name, family, buffer->first_address)) {
    // IPv6 asks for the copy, which is cut where the caller's buffer is small.
    const char* asked = family.number == AF_INET6 ? buffer->name : name;
    int32_t result = query(asked, *buffer, family, source);
    if (result != kResolved) return result;
  }
  fill_record(request, *buffer, family);
  return kResolved;
}

} // namespace

std::optional<HostBuffer> carve(char* buffer, size_t size, const AddressFamily& family) {
  char* const start = align_for_pointers(buffer);
  const size_t skipped = static_cast<size_t>(start - buffer);
  constexpr size_t pointer = sizeof(char*);
  const size_t address_slot = std::max<size_t>(family.address_size, pointer);
  const size_t fixed = address_slot + (2 + family.alias_slots) * pointer;
  if (size < skipped + fixed + kNameAreaMinimum) return std::nullopt;

  HostBuffer pieces{};
  pieces.first_address = start;
  pieces.addresses = reinterpret_cast<char**>(start + address_slot);
  pieces.addresses[0] = pieces.first_address;
  pieces.addresses[1] = nullptr;
  pieces.name = start + fixed;
  pieces.name_size = size - skipped - fixed;
  if (family.alias_slots > 0) {
    pieces.aliases = pieces.addresses + 2;
    pieces.aliases[0] = pieces.name;
    pieces.aliases[1] = nullptr;
  }
  return pieces;
}

bool place_further_addresses(HostBuffer& buffer, size_t count, const AddressFamily& family) {
  // Over the initial list, or over the last two alias slots: the alias that points at the old name area stays.
  char* const moved = buffer.name - 2 * sizeof(char*);
  char** const list = reinterpret_cast<char**>(align_for_pointers(moved + count * family.address_size));
  char* const name = reinterpret_cast<char*>(list + count + 2);
  char* const end = buffer.name + buffer.name_size;
  if (name + kNameAreaMinimum > end) return false;

  memmove(moved, buffer.name, count * family.address_size);
  list[0] = buffer.first_address;
  for (size_t i = 0; i < count; ++i)
    list[1 + i] = moved + i * family.address_size;
  list[1 + count] = nullptr;
  buffer.addresses = list;
  buffer.name = name;
  buffer.name_size = static_cast<size_t>(end - name);
  return true;
}

int32_t resolve_ipv4(const char* name, const HostRequest& request, const char* source) {
  if (request.result != nullptr) *request.result = nullptr;
  if (name == nullptr || !request.is_complete()) return kRefused;
  return resolve_with(name, request, kIpv4, source);
}

int32_t resolve(const char* name, int32_t family, const HostRequest& request, const char* source) {
  if (family == AF_INET) {
    // Switched off, the result is left alone; every other refusal clears it.
    return is_switched_on("/var/dns/ipv4") ? resolve_ipv4(name, request, source) : kRefused;
  }
  if (request.result != nullptr) *request.result = nullptr;
  if (family != AF_INET6 || name == nullptr || !request.is_complete()) return kRefused;
  if (!is_switched_on("/proc/sys/net/ipv6/conf/all/enable") || !is_switched_on("/var/dns/ipv6")) return kRefused;
  return resolve_with(name, request, kIpv6, source);
}

hostent* resolve_into_static(const char* name, int32_t family, const char* source) {
  static hostent record;
  alignas(char*) static char buffer[472];
  hostent* result = nullptr;
  resolve(name, family, {&record, buffer, sizeof buffer, &result}, source);
  return result;
}

} // namespace roq::dns
