/*
 * Validators: is a value that a configuration user typed acceptable?
 *
 * Every predicate returns 1 for accepted and 0 for refused, and refuses a null pointer, unless its own text says
 * otherwise. Nothing is printed, errno is left as it was, the caller's text is never changed, and all functions are
 * reentrant but ROQ_UTIL_IsIpFormat and ROQ_UTIL_ValidateDnsOrHostAddress. A verdict is the same on every machine:
 * numbers are judged with 32 bits and clamp at 2147483647.
 *
 * Texts are terminated byte strings of any length; no locale is consulted. A "digit" is '0' to '9'. Where an
 * address or mask is split at '.', or a MAC address at ':', empty fields are skipped: "1..2.3" has the three fields 1,
 * 2 and 3.
 *
 * Example: what a page for a static WAN address checks before it saves.
 *
 *   const char* objection(const char* address, const char* mask) {
 *     if (!ROQ_UTIL_ValidateHostIpAddress(address)) return "not a host address";
 *     if (!ROQ_UTIL_ValidateSubnetMask(mask)) return "not a mask";
 *     if (!ROQ_UTIL_ValidateHostIpWithSubnetMask(address, mask)) return "the subnet's own or broadcast address";
 *     return NULL;
 *   }
 */
#ifndef ROQUTIL_VALIDATE_H
#define ROQUTIL_VALIDATE_H

#include <roqutil/api.h>
#include <stdint.h>

ROQ_EXTERN_C_BEGIN

/* ---- IPv4 addresses and masks --------------------------------------------------------------------------------------
 *
 * Octet arrays have four elements of 32 bits, one octet each, the first octet in element 0.
 */

/*
 * Any dotted quad: at most 15 characters, exactly three dots, four fields of digits with values 0 to 255. Leading
 * zeros are allowed ("001.002.003.004"), signs and blanks are not; no class of address is refused.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateIpAddress(const char* pcText);

/*
 * A unicast host address: at most 15 characters, exactly three dots, four fields of one to three digits without
 * leading zeros and with values 0 to 255; the first is 1 to 223 and not 127, the last is not 255. "1.0.0.0" passes.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateHostIpAddress(const char* pcText);

/* A multicast group: as a host address, but with a first field of 224 to 239. The last field is not 255 here either. */
ROQ_API uint32_t ROQ_UTIL_ValidateMCastIpAddress(const char* pcText);

/*
 * A host name or a host address: everything that ROQ_UTIL_IsIpFormat does not accept is taken for a name and passes
 * unexamined, a null pointer, an empty text and "1.2.3" included; what it accepts must be a host address as
 * ROQ_UTIL_ValidateHostIpAddress has it.
 *
 * HAZARD: not reentrant, see ROQ_UTIL_IsIpFormat. "192.168.100.1000" is refused, as its first 15 characters look like
 * an address; with one more character it would be a name.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateDnsOrHostAddress(const char* pcText);

/*
 * Shaped like an address: at most 16 characters, of which the first 15 are looked at and split into exactly four fields
 * of digits. Values are not tested ("999.999.999.999" passes), and leading, trailing and doubled dots are tolerated.
 *
 * HAZARD: splits with strtok and so disturbs a caller that is in the middle of its own strtok: the caller's next
 * strtok(NULL, ...) gives null. Not for use in several threads.
 */
ROQ_API uint32_t ROQ_UTIL_IsIpFormat(const char* pcText);

/*
 * A subnet mask: four fields of digits with values 0 to 255, ones in front and zeros behind, not the literal "0.0.0.0".
 * "255.255.255.255" passes.
 *
 * Only the first 19 characters are looked at, and nothing behind the fourth field: "255.255.255.0.7" passes, and so
 * does "255.255.255.0000000128", which is cut before the 128. "00.0.0.0" and other spellings of zero pass. 0 also when
 * the heap is exhausted.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateSubnetMask(const char* pcText);

/*
 * A host within its subnet: the address passes ROQ_UTIL_ValidateHostIpAddress, the mask ROQ_UTIL_ValidateSubnetMask,
 * and the bits of the host are neither all zeros nor all ones. A mask of 31 or 32 bits therefore never admits a host.
 *
 * HAZARD: the bits are those of inet_addr, which takes a field with a leading zero as octal ("255.255.255.0240" ends
 * with 160) and makes all ones, which admit no host, of a mask that it cannot read ("255.255.255.0.7"). "00.0.0.0"
 * admits every host.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateHostIpWithSubnetMask(const char* pcAddress, const char* pcMask);

/*
 * 1 when the address is one that is no host's: its first octet is 224 or more, the first octet of the MASK is 127, or
 * all of its bits behind the mask are ones. Octets are signed and used with all their 32 bits.
 *
 * The last test looks for the first mask octet below 255. When there is none the result is 0. All host bits of that
 * octet must be ones, the address octets behind it 255 and the mask octets behind it 0; when it is the first octet the
 * mask octets behind it are not looked at, but the address octet must equal 255 less the mask octet.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateBroadcastIp(const int32_t* plAddress, const int32_t* plMask);

/*
 * 1 when both addresses are in the same subnet: each octet of (address 1 AND mask 1) equals that of (address 2 AND mask
 * 2). 0 when any of the four arrays is null.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateIpSameSubNet(const uint32_t* pulAddr1, const uint32_t* pulMask1,
                                               const uint32_t* pulAddr2, const uint32_t* pulMask2);

/*
 * Splits a dotted quad into its octets: four fields of digits with values 0 to 255, leading zeros allowed. Only the
 * first 19 characters are looked at, and nothing behind the fourth field.
 *
 * pulOut  four elements
 *
 * Returns 1; 0 when a pointer is null, a field is bad or missing, or the heap is exhausted. Octets are stored as they
 * are read: those in front of a bad field are written, the others are left as they were.
 */
ROQ_API uint32_t ROQ_UTIL_IpAddrSplit(const char* pcText, uint32_t* pulOut);

/* 1 for the eight values at which the ones of a mask end: 0, 128, 192, 224, 240, 248, 252 and 254. 255 is not among
 * them. */
ROQ_API uint32_t ROQ_UTIL_CheckNum(uint32_t ulValue);

/*
 * Not a predicate: the number of leading one bits of a mask, 0 to 32; 0 also for a null pointer and for what is no
 * address. Reads as inet_aton does: "255.0" and "0xffffff00" are masks, a field with a leading zero is octal. Zeros in
 * between are not detected: "255.0.255.0" gives 8. White space behind the mask, and what follows it, is ignored.
 */
ROQ_API uint32_t ROQ_IpMaskToCidrLen(const char* pcText);

/* ---- Numbers and ranges ----------------------------------------------------------------------------------------- */

/* Digits only, at least one; no limit on their number. */
ROQ_API uint32_t ROQ_UTIL_ValidateNumber(const char* pcText);

/* One to three digits. With ulLeadingZero 0, a first digit of 0 is refused unless it is the only one. */
ROQ_API uint32_t ROQ_UTIL_ValidateThreeNumberEx(const char* pcText, uint32_t ulLeadingZero);

/* One to three digits, leading zeros allowed. */
ROQ_API uint32_t ROQ_UTIL_ValidateThreeNumber(const char* pcText);

/* lMin <= lValue <= lMax. */
ROQ_API uint32_t ROQ_UTIL_ValidateNumberRange(int32_t lValue, int32_t lMin, int32_t lMax);

/*
 * Digits only, and the value is within the bounds. Signs are refused whatever the bounds. A value above 2147483647
 * counts as 2147483647, so a maximum of 2147483647 admits every number.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateRange(const char* pcText, int32_t lMin, int32_t lMax);

/* A text of 1 to ulMax bytes. */
ROQ_API uint32_t ROQ_UTIL_ValidateLength(const char* pcText, uint32_t ulMax);

/* 0 or 1. */
ROQ_API uint32_t ROQ_UTIL_ValidateBool(uint32_t ulValue);

/* 1 to 65535. */
ROQ_API uint32_t ROQ_UTIL_ValidatePort(uint32_t ulValue);

/* 0 to 4094, or all ones (-1), which stands for "none". */
ROQ_API uint32_t ROQ_UTIL_ValidateVlanId(uint32_t ulValue);

/* 1 to 4094, or all ones (-1). */
ROQ_API uint32_t ROQ_UTIL_ValidateVlanIdX(uint32_t ulValue);

/* 0 to 7, or all ones (-1). */
ROQ_API uint32_t ROQ_UTIL_ValidatePriority(uint32_t ulValue);

/* ---- Dates and times ---------------------------------------------------------------------------------------------
 *
 * The fields of dates and of times with seconds are read as scanf reads "%d": white space and a sign may stand in front
 * of the digits, and the converted numbers are judged.
 */

/*
 * A date of the Gregorian calendar, YYYY-MM-DD: 10 characters, '-' at the indices 4 and 7 and nowhere else, year 1 to
 * 9999, a month, and a day that the month has.
 *
 * What follows the digits of the day is not looked at: "2023-06-1x" is the first of June, " 999-01-01" the year 999.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateDate(const char* pcText);

/*
 * A time HH:MM:SS of 00:00:00 to 23:59:59: 8 to 12 characters, ':' at the indices 2 and 5 and nowhere else. What
 * follows the digits of the seconds is not looked at: "12:00:00.123" passes. "-0:-0:-0" is midnight.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateTime1(const char* pcText);

/*
 * A date, 'T' and a time with seconds, 19 to 24 characters: in front of the first 'T' what ROQ_UTIL_ValidateDate
 * accepts, behind it, up to the first 'Z' if that comes later, what ROQ_UTIL_ValidateTime1 accepts. What follows the
 * 'Z' is not looked at, and a lower-case z is trailing text like any other. A 'Z' in front of the 'T' cuts nothing.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateDateTime(const char* pcText);

/* A time H:MM or HH:MM of 0:00 to 23:59, at most 5 characters, digits only. */
ROQ_API uint32_t ROQ_UTIL_ValidateTime(const char* pcText);

/*
 * Converts hours:minutes, at most 5 characters, to minutes of the day: hours of one to three digits below 24, minutes
 * of one to three digits below 60. More is accepted than ROQ_UTIL_ValidateTime does: "9:5" is 545, "1:005" is 65.
 *
 * Returns 1; 0 when a pointer is null or the text is refused, *pusOut is then left as it was.
 */
ROQ_API uint32_t ROQ_UTIL_TimeToShort(const char* pcText, uint16_t* pusOut);

/* ---- MAC and IPv6 addresses ------------------------------------------------------------------------------------- */

/*
 * A MAC address: at most 17 characters, six groups separated by ':', each a hexadecimal number of 0 to ff. Groups may
 * have any number of digits and the prefix 0x ("0:1:2:3:4:0xff"); what follows the sixth group is not looked at
 * ("0:1:2:3:4:5:6" passes). Hyphens are no separators. No address is special: all zeros, broadcast and multicast pass.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateMacAddress(const char* pcText);

/* Whatever inet_pton takes for an IPv6 address. */
ROQ_API uint32_t ROQ_UTIL_ValidateIpv6Address(const char* pcText);

/*
 * An IPv6 address other than "::", "::1" and multicast (ff00::/8). Link-local, site-local, unique-local and IPv4-mapped
 * addresses pass.
 */
ROQ_API uint32_t ROQ_UTIL_ValidateHostIpv6Address(const char* pcText);

/* As the host test, and not link-local (fe80::/10). fec0::/10 and fc00::/7 pass. */
ROQ_API uint32_t ROQ_UTIL_ValidateGlobalIpv6Address(const char* pcText);

ROQ_EXTERN_C_END

#endif
