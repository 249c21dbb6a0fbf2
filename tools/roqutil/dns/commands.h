// The commands of the DNS client that stand beside the groups.
#ifndef ROQ_TOOL_DNS_COMMANDS_H
#define ROQ_TOOL_DNS_COMMANDS_H

#include "cli.h"

namespace roq::tool {

int run_resolve(const Invocation& call);
int run_srv(const Invocation& call);

inline constexpr Option kResolveOptions[] = {{"ipv4", nullptr, "ask for IPv4 addresses only", '4'},
                                             {"ipv6", nullptr, "ask for IPv6 addresses only", '6'},
                                             {"source", "ADDRESS", "local address to ask from"},
                                             kJsonOption};
inline constexpr Example kResolveExamples[] = {
    {"roqutil resolve example.net", "its addresses of both families"},
    {"roqutil resolve -4 example.net --source 192.0.2.7", "its IPv4 addresses, over one WAN connection"}};
inline constexpr Command kResolveCommand{
    .name = "resolve",
    .arguments = "NAME",
    .minimum = 1,
    .maximum = 1,
    .summary = "ask the gateway's DNS relay for the addresses of a name",
    .details =
        "Without --ipv4 or --ipv6 both families are asked for, one after the other. A relay that does not answer "
        "costs 8 seconds each.",
    .options = kResolveOptions,
    .examples = kResolveExamples,
    .run = run_resolve};

inline constexpr Option kSrvOptions[] = {
    {"interface", "NAME", "the WAN connection, with files in /var/wan/NAME (default: ask 127.0.0.1)"}, kJsonOption};
inline constexpr Example kSrvExamples[] = {
    {"roqutil srv _sip._udp.example.net --interface ppp0", "the SIP servers, from the name server of ppp0"}};
inline constexpr Command kSrvCommand{
    .name = "srv",
    .arguments = "SERVICE",
    .minimum = 1,
    .maximum = 1,
    .summary = "ask a WAN connection's name server for the SRV records of a service",
    .details = "The reply is looked for at once and then every five seconds, up to 25. The server's text goes to "
               "/var/voice_dns, addresses and a TTL to /var/wan/srv_result.",
    .options = kSrvOptions,
    .examples = kSrvExamples,
    .run = run_srv};

} // namespace roq::tool

#endif
