// roqutil resolve, srv and dns: the DNS client.
#include "bytes.h"
#include "dns/commands.h"
#include "dns/host.h"
#include "dns/reply.h"
#include "dns/socket_trace.h"
#include "groups.h"
#include "json.h"
#include <arpa/inet.h>
#include <cstring>
#include <roqutil/dns.h>

namespace roq::tool {
namespace {

constexpr size_t kSrvRecords = 8;
constexpr size_t kSrvAddresses = 5;
constexpr const char* kWrittenFiles[] = {"/var/voice_dns", "/var/wan/srv_result"};

// ---- resolve

// The families to ask for, in order. None, after a message, when the options exclude each other.
Array<int32_t> families_of(const Invocation& call) {
  Array<int32_t> families;
  if (call.has("ipv4") && call.has("ipv6")) {
    call.wrong("--ipv4 and --ipv6: expected one of them, or neither for both families");
    return families;
  }
  if (!call.has("ipv6")) families.add(AF_INET);
  if (!call.has("ipv4")) families.add(AF_INET6);
  return families;
}

int outcome(const Invocation& call, bool resolved, const char* what_to_do) {
  if (resolved) return kSuccess;
  return call.no("'%s': no address came; %s", call.argument(0), what_to_do);
}

} // namespace

int run_resolve(const Invocation& call) {
  const Array<int32_t> families = families_of(call);
  if (families.empty()) return kUsage;
  Host hosts[2];
  bool resolved = false;
  for (size_t i = 0; i < families.size(); ++i) {
    look_up(hosts[i], call.argument(0), families[i], call.value("source"));
    resolved |= hosts[i].code == 0;
    if (!call.json()) print_host(hosts[i]);
  }
  if (call.json())
    print_object([&](Json& json) {
      json.member("name", call.argument(0));
      json.key("answers");
      json.begin_array();
      for (size_t i = 0; i < families.size(); ++i)
        add_host(json, hosts[i]);
      json.end_array();
    });
  return outcome(call, resolved, "'roqutil dns trace' shows why, 'roqutil doctor dns' whether the relay answers");
}

// ---- srv

namespace {

template <typename Use> void for_each_record(const RoqSrvRecord* table, Use use) {
  for (size_t i = 0; table != nullptr && i < kSrvRecords && table[i].valid != 0; ++i)
    use(table[i]);
}

template <typename Use> void for_each_stored_address(Use use) {
  for (int32_t i = 0; i < g_resolvenums && i < static_cast<int32_t>(kSrvAddresses); ++i)
    use(g_resolveaddr[i], g_ttl[i]);
}

void print_records(const RoqSrvRecord* table) {
  printf("%-8s %-6s %-5s  %-32s %s\n", "PRIORITY", "WEIGHT", "PORT", "TARGET", "ADDRESS");
  for_each_record(table, [](const RoqSrvRecord& record) {
    printf("%-8u %-6u %-5u  %-32s %s\n", ntohs(record.priority), ntohs(record.weight), ntohs(record.port),
           record.target, record.address[0] != '\0' ? record.address : "(not resolved)");
  });
}

void print_file(const char* path) {
  FILE* file = fopen(path, "re");
  if (file == nullptr) return;
  printf("\n%s\n", path);
  char line[256];
  while (fgets(line, sizeof line, file) != nullptr) {
    line[strcspn(line, "\r\n")] = '\0';
    printf("  |%s\n", line);
  }
  fclose(file);
}

void print_as_json(const char* service, const RoqSrvRecord* table) {
  Json json;
  json.begin_object();
  json.member("service", service);
  json.key("records");
  json.begin_array();
  for_each_record(table, [&](const RoqSrvRecord& record) {
    json.begin_object();
    json.member("priority", ntohs(record.priority));
    json.member("weight", ntohs(record.weight));
    json.member("port", ntohs(record.port));
    json.member("target", static_cast<const char*>(record.target));
    json.member("address", record.address[0] != '\0' ? static_cast<const char*>(record.address) : nullptr);
    json.end_object();
  });
  json.end_array();
  json.key("addresses");
  json.begin_array();
  for_each_stored_address([&](const char* address, uint32_t ttl) {
    json.begin_object();
    json.member("address", address);
    json.member("ttl", ttl);
    json.end_object();
  });
  json.end_array();
  json.key("files");
  json.begin_array();
  for (const char* path : kWrittenFiles)
    json.text(path);
  json.end_array();
  json.end_object();
  json.print();
}

void print_as_text(const RoqSrvRecord* table) {
  if (table != nullptr) print_records(table);
  for_each_stored_address([](const char* address, uint32_t ttl) { printf("address %s, TTL %u\n", address, ttl); });
  for (const char* path : kWrittenFiles)
    print_file(path);
}

} // namespace

int run_srv(const Invocation& call) {
  const char* service = call.argument(0);
  const RoqSrvRecord* table = ROQ_UTIL_DnsSrvQuery(service, call.value("interface"));
  if (table == nullptr && g_resolvenums == 0)
    return call.no("'%s': no SRV record came; see the message above, or else whether the server answers and knows it",
                   service);
  if (call.json())
    print_as_json(service, table);
  else
    print_as_text(table);
  return table != nullptr ? kSuccess : call.no("'%s': addresses came, but no SRV record; ask for a service", service);
}

// ---- dns trace

namespace {

struct AddressText {
  char text[INET6_ADDRSTRLEN] = "?";
  unsigned port = 0;

  explicit AddressText(const sockaddr_storage& address) {
    if (address.ss_family == AF_INET) {
      const auto& ipv4 = reinterpret_cast<const sockaddr_in&>(address);
      inet_ntop(AF_INET, &ipv4.sin_addr, text, sizeof text);
      port = ntohs(ipv4.sin_port);
    } else if (address.ss_family == AF_INET6) {
      const auto& ipv6 = reinterpret_cast<const sockaddr_in6&>(address);
      inet_ntop(AF_INET6, &ipv6.sin6_addr, text, sizeof text);
      port = ntohs(ipv6.sin6_port);
    }
  }
};

// How an attempt ended; the last one of a lookup that succeeded was taken.
Text verdict(const Attempt& attempt, bool taken) {
  Text text;
  if (taken) {
    text.append("accepted");
  } else if (attempt.wait == Wait::timed_out) {
    text.append("no reply within 2 seconds");
  } else if (attempt.received_length < 0) {
    text.append(attempt.error != 0 ? strerror(attempt.error) : "nothing received");
  } else {
    Text wrong = complaint(attempt.sent_bytes(), attempt.received_bytes());
    text.format("rejected: %s",
                wrong.empty() ? "its owner names or address lengths are not acceptable" : wrong.c_str());
  }
  return text;
}

void print_bytes(const char* what, std::span<const uint8_t> bytes) {
  printf("    %s %zu bytes\n", what, bytes.size());
  constexpr size_t per_line = 16;
  for (size_t line = 0; line < bytes.size(); line += per_line) {
    printf("      %03zx ", line);
    for (size_t at = line; at < line + per_line; ++at) {
      if (at < bytes.size())
        printf(" %02x", bytes[at]);
      else
        printf("   ");
    }
    printf("  ");
    for (size_t at = line; at < line + per_line && at < bytes.size(); ++at)
      putchar(bytes[at] >= 32 && bytes[at] < 127 ? bytes[at] : '.');
    putchar('\n');
  }
}

void print_attempt(size_t number, const Attempt& attempt, bool taken) {
  const AddressText source(attempt.source), server(attempt.server);
  printf("  attempt %zu: ", number);
  if (attempt.server.ss_family == 0)
    printf("not sent, from %s\n", source.text);
  else
    printf("%s port %u from %s port %u\n", server.text, server.port, source.text, source.port);
  if (attempt.sent_length >= 0) print_bytes("sent", attempt.sent_bytes());
  if (attempt.received_length >= 0) print_bytes("received", attempt.received_bytes());
  printf("    %s\n", verdict(attempt, taken).c_str());
}

void add_bytes(Json& json, const char* name, std::span<const uint8_t> bytes) {
  Text hex;
  append_hex(hex, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  json.member(name, hex.view());
}

void add_attempt(Json& json, const Attempt& attempt, bool taken) {
  json.begin_object();
  json.member("server", static_cast<const char*>(AddressText(attempt.server).text));
  json.member("source", static_cast<const char*>(AddressText(attempt.source).text));
  add_bytes(json, "sent", attempt.sent_bytes());
  add_bytes(json, "received", attempt.received_bytes());
  json.member("verdict", verdict(attempt, taken).view());
  json.end_object();
}

// A lookup and its attempts; `json` is null for text.
bool trace_family(const Invocation& call, int32_t family, Json* json) {
  Host host;
  SocketTrace trace;
  look_up(host, call.argument(0), family, call.value("source"));
  const std::span<const Attempt> attempts = trace.attempts();
  const bool resolved = host.code == 0;
  if (json != nullptr) {
    json->begin_object();
    json->key("result");
    add_host(*json, host);
    json->key("attempts");
    json->begin_array();
    for (size_t i = 0; i < attempts.size(); ++i)
      add_attempt(*json, attempts[i], resolved && i + 1 == attempts.size());
    json->end_array();
    json->end_object();
    return resolved;
  }
  print_host(host);
  for (size_t i = 0; i < attempts.size(); ++i)
    print_attempt(i + 1, attempts[i], resolved && i + 1 == attempts.size());
  if (attempts.empty()) puts("  nothing was sent");
  return resolved;
}

int run_trace(const Invocation& call) {
  const Array<int32_t> families = families_of(call);
  if (families.empty()) return kUsage;
  bool resolved = false;
  Json json;
  json.begin_object();
  json.member("name", call.argument(0));
  json.key("lookups");
  json.begin_array();
  for (int32_t family : families)
    resolved |= trace_family(call, family, call.json() ? &json : nullptr);
  json.end_array();
  json.end_object();
  if (call.json()) json.print();
  return outcome(call, resolved, "the attempts above show why");
}

constexpr Example kTraceExamples[] = {
    {"roqutil dns trace -4 example.net", "every attempt to resolve its IPv4 addresses, byte for byte"}};
constexpr Command kCommands[] = {{.name = "trace",
                                  .arguments = "NAME",
                                  .minimum = 1,
                                  .maximum = 1,
                                  .summary = "show every attempt of a lookup and why its reply was not taken",
                                  .options = kResolveOptions,
                                  .examples = kTraceExamples,
                                  .run = run_trace}};

} // namespace

const Group dns_group{
    .name = "dns", .summary = "a look into the DNS client", .commands = kCommands, .examples = kTraceExamples};

} // namespace roq::tool
