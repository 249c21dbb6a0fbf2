// IPv4 addresses and masks as dotted-quad text and as octets.
#ifndef ROQ_VALIDATE_IPV4_H
#define ROQ_VALIDATE_IPV4_H

#include <cstdint>
#include <span>

namespace roq::validate {

template <typename Element> using Octets = std::span<const Element, 4>;

bool is_ip_address(const char* text);

enum class AddressClass : bool { host, multicast };
bool is_address_of_class(const char* text, AddressClass wanted);

// Four fields of digits, whatever their values. Uses the process-wide state of strtok.
bool is_shaped_like_ip(const char* text);

// The eight values that an octet of a mask can have where its ones end, 255 not among them.
bool is_partial_mask_octet(uint32_t value);
bool is_subnet_mask(const char* text);
bool is_host_in_subnet(const char* address, const char* mask);

bool is_broadcast(Octets<int32_t> address, Octets<int32_t> mask);
bool is_same_subnet(Octets<uint32_t> address1, Octets<uint32_t> mask1, Octets<uint32_t> address2,
                    Octets<uint32_t> mask2);

// Stores every octet as it is read, so a refusal leaves those in front of the bad field.
bool split_address(const char* text, std::span<uint32_t, 4> octets);

// The number of leading one bits of what inet_aton makes of the text, 0 when it makes nothing of it.
uint32_t prefix_length(const char* mask);

} // namespace roq::validate

// The classifier under its plain name: mode 1 asks for a multicast group, any other for a host. Not exported.
extern "C" uint32_t ValidateIpByClass(const char* pcText, uint32_t ulMode);

#endif
