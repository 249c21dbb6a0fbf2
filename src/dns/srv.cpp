#include "dns/srv.h"

#include "dns/host_entry.h"
#include "dns/wan_files.h"
#include "dns/wire.h"
#include "support/ipv4_text.h"
#include "support/owners.h"
#include "support/text.h"
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <time.h>

extern "C" {
char g_primary[64], g_secondary[64], g_wanipaddr[64], g_resolvename[256], g_outfile[128];
char g_resolveaddr[5][20];
uint32_t g_ttl[5];
int32_t g_resolvenums;
uint32_t Ok_dns;
RoqSrvRecord srv_record_table[8];
}

namespace roq::dns {
namespace {

constexpr char kResultFile[] = "/var/wan/srv_result";
constexpr char kServerFile[] = "/var/voice_dns";
constexpr size_t kQueryRoom = 256;
constexpr size_t kReplyRoom = 1024;
constexpr int kMostReceives = 6;
constexpr time_t kPauseSeconds = 5;

const sockaddr* generic(const sockaddr_in& address) { return reinterpret_cast<const sockaddr*>(&address); }

sockaddr_in endpoint(in_addr_t address, uint16_t port) {
  sockaddr_in endpoint{};
  endpoint.sin_family = AF_INET;
  endpoint.sin_port = htons(port);
  endpoint.sin_addr.s_addr = address;
  return endpoint;
}

[[nodiscard]] bool bind_to_wan_address(int socket_fd) {
  const in_addr_t address = g_wanipaddr[0] != '\0' ? lenient_ipv4_or_none(g_wanipaddr) : htonl(INADDR_ANY);
  // The kernel would take the broadcast address, and then no reply could ever come in.
  if (address == INADDR_NONE) return false;
  const sockaddr_in local = endpoint(address, 0);
  return bind(socket_fd, generic(local), sizeof local) == 0;
}

int32_t report_socket_error(int line) {
  fprintf(stderr, "socket error @ line %d.\n", line);
  return -1;
}

// The whole pause, whatever signals come.
void pause_before_next_receive() {
  timespec rest{.tv_sec = kPauseSeconds, .tv_nsec = 0};
  while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
  }
}

// The first datagram of a non-blocking socket within five pauses; its length, or -1.
ssize_t receive_patiently(int socket_fd, std::span<uint8_t> reply) {
  for (int receives = 1;; ++receives) {
    const ssize_t received = recv(socket_fd, reply.data(), reply.size(), 0);
    if (received >= 0 || errno != EAGAIN || receives == kMostReceives) return received;
    pause_before_next_receive();
  }
}

// One line more than there are addresses, and that is meant: the last one is the next, empty place.
void write_result(FILE* file) {
  const int32_t last = std::min<int32_t>(g_resolvenums, kMostAddresses);
  for (int32_t i = 0; i <= last; ++i) {
    fprintf(file, "%.20s\n", i < static_cast<int32_t>(kMostAddresses) ? g_resolveaddr[i] : "");
  }
  fprintf(file, "ttl=%lu\n", static_cast<unsigned long>(g_ttl[0]));
}

} // namespace

RoqSrvRecord* query_srv(const char* service, const char* interface) {
  if (service == nullptr) return nullptr;
  if (read_name_servers(interface) != 0) {
    fputs("ifdns:can't get dns server\n", stderr);
    return nullptr;
  }
  if (read_wan_address(interface) != 0) {
    fprintf(stderr, "ifdns:can't get interfacd:%s 's ip\n", interface);
    return nullptr;
  }
  copy_cut(g_resolvename, sizeof g_resolvename, service);
  tracename(g_resolvename);
  copy_cut(g_outfile, sizeof g_outfile, kResultFile);
  if (do_query() != 0) return nullptr;
  // The analysis fills the table from its start; with addresses only it stays empty.
  return srv_record_table[0].valid != 0 ? srv_record_table : nullptr;
}

} // namespace roq::dns

using namespace roq;
using namespace roq::dns;

void tracename(char* text) {
  if (text == nullptr) return;
  size_t length = strlen(text);
  while (length > 0 && text[length - 1] == ' ')
    text[--length] = '\0';
}

int32_t do_query() {
  if (doit(1) != 0) return -1;
  remove(g_outfile);
  UniqueStream file(fopen(g_outfile, "a+e"));
  if (!file) {
    fprintf(stderr, "ifdns:Out file: %s , can't be created\n", g_outfile);
    return -1;
  }
  write_result(file.get());
  return 0;
}

int32_t doit(int32_t selector) {
  const char* server = selector == 1 ? g_primary : g_secondary;
  const sockaddr_in remote = endpoint(lenient_ipv4_or_none(server), kServerPort);
  UniqueFd socket_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket_fd.is_open()) return report_socket_error(598);
  if (!bind_to_wan_address(socket_fd.get())) return report_socket_error(609);
  RoqSrvRecord* table = nullptr;
  if (do_dns_query(socket_fd.get(), generic(remote), sizeof remote, &table) != 0) return -1;
  write_dns(server);
  return 0;
}

int32_t do_dns_query(int32_t socket, const struct sockaddr* server, uint32_t length, RoqSrvRecord** table) {
  uint8_t query[kQueryRoom];
  const size_t query_length = write_srv_query(query);
  if (query_length == 0) return -1;
  if (sendto(socket, query, query_length, 0, server, length) != static_cast<ssize_t>(query_length)) {
    fputs("\nsendto error", stdout);
    return -1;
  }
  fcntl(socket, F_SETFL, fcntl(socket, F_GETFL) | O_NONBLOCK);
  uint8_t reply[kReplyRoom];
  const ssize_t received = receive_patiently(socket, reply);
  if (received < 0) return -1;
  return analyse_response(reply, static_cast<int32_t>(received), table, resolve_into_static);
}

void write_dns(const char* server) {
  if (server == nullptr) return;
  UniqueStream file(fopen(kServerFile, "we"));
  if (file) fputs(server, file.get());
}
