// The SRV query of a WAN connection: one exchange with its name server, and the files that tell the outcome.
#ifndef ROQ_DNS_SRV_H
#define ROQ_DNS_SRV_H

#include <cstddef>
#include <cstdint>
#include <netdb.h>
#include <roqutil/dns.h>
#include <span>
#include <sys/socket.h>

// The steps of the query, in calling order. Those with a result return 0 or -1.
extern "C" {
void tracename(char* text);
int32_t do_query();
int32_t doit(int32_t selector);
int32_t do_dns_query(int32_t socket, const struct sockaddr* server, uint32_t length, RoqSrvRecord** table);
void write_dns(const char* server);
void DnsSrvParseQueryName(const uint8_t* wire, char* out);
}

static_assert(offsetof(RoqSrvRecord, name) == 4);
static_assert(offsetof(RoqSrvRecord, type) == 68);
static_assert(offsetof(RoqSrvRecord, class_) == 70);
static_assert(offsetof(RoqSrvRecord, ttl) == 72);
static_assert(offsetof(RoqSrvRecord, rdlength) == 76);
static_assert(offsetof(RoqSrvRecord, priority) == 78);
static_assert(offsetof(RoqSrvRecord, weight) == 80);
static_assert(offsetof(RoqSrvRecord, port) == 82);
static_assert(offsetof(RoqSrvRecord, target) == 84);
static_assert(offsetof(RoqSrvRecord, address) == 148);
static_assert(sizeof(RoqSrvRecord) == 212);

namespace roq::dns {

inline constexpr uint16_t kSrvQueryId = 0x0929;
inline constexpr size_t kMostSrvRecords = 8;
inline constexpr size_t kMostAddresses = 5;

RoqSrvRecord* query_srv(const char* service, const char* interface);

// The packet's length, 0 when it does not fit.
[[nodiscard]] size_t write_srv_query(std::span<uint8_t> packet);

// As resolve_into_static.
using Resolver = hostent* (*)(const char* name, int32_t family, const char* source);

// As analyse_dns_response, with any resolver.
int32_t analyse_response(const uint8_t* packet, int32_t length, RoqSrvRecord** table, Resolver resolve_target);

// The dotted form of a target on the wire, at most 63 bytes of it, without its terminator.
void write_target_name(std::span<const uint8_t> wire, char* out);

} // namespace roq::dns

#endif
