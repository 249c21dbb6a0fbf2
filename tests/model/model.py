"""What every validator and string helper answers, told a second time and in another way than the library does.

A call is a name and its arguments; a text is bytes or None for a null pointer. The answer is a list: the result, and
after it what the call left in its outputs, with NOTHING where an output was left as it was.
"""

import base64
import datetime
import re

NOTHING = "untouched"
WHITE = b" \t\n\v\f\r"
LARGEST = 0x7FFFFFFF
ALL_ONES = 0xFFFFFFFF


def clamp(digits):
    return min(int(digits), LARGEST)


def fields_of(text, separator):
    return [field for field in text.split(separator) if field]


def is_number(text):
    return text is not None and re.fullmatch(rb"[0-9]+", text) is not None


def is_short_number(text, leading_zeros):
    pattern = rb"[0-9]{1,3}" if leading_zeros else rb"0|[1-9][0-9]{0,2}"
    return text is not None and re.fullmatch(pattern, text) is not None


def is_ip_address(text):
    match = re.fullmatch(rb"([0-9]+)\.([0-9]+)\.([0-9]+)\.([0-9]+)", text or b"")
    return match is not None and len(text) <= 15 and all(int(octet) <= 255 for octet in match.groups())


def is_of_class(text, multicast):
    octet = rb"(0|[1-9][0-9]?[0-9]?)"
    match = re.fullmatch(rb"\.".join([octet] * 4), text or b"")
    if match is None:
        return False
    first, second, third, last = (int(value) for value in match.groups())
    if max(second, third) > 255 or last >= 255:
        return False
    return 224 <= first <= 239 if multicast else 1 <= first <= 223 and first != 127


def is_shaped_like_ip(text):
    if text is None or len(text) > 16:
        return False
    fields = fields_of(text[:15], b".")
    return len(fields) == 4 and all(is_number(field) for field in fields)


def is_name_or_host(text):
    return not is_shaped_like_ip(text) or is_of_class(text, multicast=False)


def leading_octets(text):
    """The octets in front of the first field that is none, at most four."""
    octets = []
    for field in fields_of(text[:19], b".")[:4]:
        if not is_number(field) or int(field) > 255:
            break
        octets.append(int(field))
    return octets


def is_mask(text):
    if text is None or text == b"0.0.0.0":
        return False
    octets = leading_octets(text)
    return len(octets) == 4 and "01" not in f"{int.from_bytes(bytes(octets), 'big'):032b}"


def aton(text):
    """The platform's permissive reading, None where it reads nothing."""
    part = rb"(?:0[xX][0-9a-fA-F]+|0[0-7]*|[1-9][0-9]*)"
    match = re.match(rb"(%b(?:\.%b){0,3})(?=[ \t\n\v\f\r]|\Z)" % (part, part), text)
    if match is None:
        return None
    values = []
    for piece in match[1].lower().split(b"."):
        values.append(int(piece, 16) if piece.startswith(b"0x") else int(piece, 8 if piece.startswith(b"0") else 10))
    *octets, rest = values
    if any(octet > 255 for octet in octets) or rest >= 1 << 8 * (4 - len(octets)):
        return None
    return int.from_bytes(bytes(octets), "big") << 8 * (4 - len(octets)) | rest


def is_host_in_subnet(address, mask):
    if not is_of_class(address, multicast=False) or not is_mask(mask):
        return False
    host_bits = ~(ALL_ONES if aton(mask) is None else aton(mask)) & ALL_ONES
    return aton(address) & host_bits not in (0, host_bits)


def is_broadcast(address, mask):
    if address is None or mask is None:
        return False
    if address[0] >= 224 or mask[0] == 127:
        return True
    index = next((i for i in range(4) if mask[i] < 255), None)
    if index is None:
        return False
    hosts = (255 - mask[index] + 0x80000000) % 0x100000000 - 0x80000000
    if address[index] & hosts != hosts:
        return False
    behind = slice(index + 1, 4)
    if set(address[behind]) - {255}:
        return False
    return address[0] == hosts if index == 0 else not any(mask[behind])


def is_same_subnet(*arrays):
    if None in arrays:
        return False
    return all(a & m == b & n for a, m, b, n in zip(*arrays))


def split_address(text, has_output):
    if text is None or not has_output:
        return [0, NOTHING]
    octets = leading_octets(text)
    return [len(octets) == 4, octets + [NOTHING] * (4 - len(octets))]


def prefix_length(text):
    value = None if text is None else aton(text)
    return 0 if value is None else len(f"{value:032b}".split("0")[0])


def three_integers(text, separator):
    """As scanf's "%d" three times with the separator between."""
    integer = rb"[ \t\n\v\f\r]*([+-]?[0-9]+)"
    match = re.match(re.escape(separator).join([integer] * 3), text)
    return None if match is None else [int(number) for number in match.groups()]


def separators_at(text, separator):
    return [i for i, byte in enumerate(text) if bytes([byte]) == separator]


def is_date(text):
    if text is None or len(text) != 10 or separators_at(text, b"-") != [4, 7]:
        return False
    numbers = three_integers(text, b"-")
    if numbers is None:
        return False
    try:
        return bool(datetime.date(*numbers))
    except ValueError:
        return False


def is_time_with_seconds(text):
    if text is None or not 8 <= len(text) <= 12 or separators_at(text, b":") != [2, 5]:
        return False
    numbers = three_integers(text, b":")
    if numbers is None:
        return False
    try:
        return datetime.time(*numbers) is not None
    except ValueError:
        return False


def is_date_time(text):
    if text is None or not 19 <= len(text) <= 24 or b"T" not in text:
        return False
    date, time = text.split(b"T", 1)
    return is_date(date) and is_time_with_seconds(time if b"Z" in date else time.split(b"Z")[0])


def is_hour_and_minute(text):
    return text is not None and re.fullmatch(rb"([01]?[0-9]|2[0-3]):[0-5][0-9]", text) is not None


def minute_of_day(text, has_output):
    match = re.fullmatch(rb"([0-9]{1,3}):([0-9]{1,3})", text or b"")
    if match is None or len(text) > 5 or not has_output:
        return [0, NOTHING]
    hours, minutes = (int(part) for part in match.groups())
    return [1, hours * 60 + minutes] if hours <= 23 and minutes <= 59 else [0, NOTHING]


def is_within(value, minimum, maximum):
    return minimum <= value <= maximum


def is_mac(text):
    if text is None or len(text) > 17:
        return False
    groups = fields_of(text, b":")[:6]
    return len(groups) == 6 and all(re.fullmatch(rb"(0[xX])?0*[0-9a-fA-F]{1,2}", group) for group in groups)


def quad_bytes(text):
    octet = rb"(0|[1-9][0-9]{0,2})"
    match = re.fullmatch(rb"\.".join([octet] * 4), text)
    values = [] if match is None else [int(value) for value in match.groups()]
    return bytes(values) if values and max(values) <= 255 else None


def ipv6_bytes(text):
    """The sixteen bytes that inet_pton makes of a text, None where it refuses."""

    def half(part, may_end_with_quad):
        pieces = part.split(b":") if part else []
        out = b""
        for index, piece in enumerate(pieces):
            is_last = may_end_with_quad and index == len(pieces) - 1
            if re.fullmatch(rb"[0-9a-fA-F]{1,4}", piece):
                out += int(piece, 16).to_bytes(2, "big")
            elif is_last and quad_bytes(piece) is not None:
                out += quad_bytes(piece)
            else:
                return None
        return out

    if text is None or text.count(b"::") > 1 or b":::" in text:
        return None
    if b"::" not in text:
        whole = half(text, True)
        return whole if whole is not None and len(whole) == 16 else None
    front, back = text.split(b"::")
    front, back = half(front, False), half(back, True)
    if front is None or back is None or len(front) + len(back) > 14:
        return None
    return front + bytes(16 - len(front) - len(back)) + back


def is_host_ipv6(text):
    raw = ipv6_bytes(text)
    return raw is not None and int.from_bytes(raw, "big") > 1 and raw[0] != 0xFF


def is_global_ipv6(text):
    return is_host_ipv6(text) and int.from_bytes(ipv6_bytes(text)[:2], "big") >> 6 != 0xFE80 >> 6


def trim(text):
    if text is None:
        return [NOTHING]
    return [text.strip(WHITE).ljust(len(text), b"\0")]


def trim_or_empty(text):
    if not text:
        return [NOTHING if text is None else b""]
    if len(text) == 1 or len(text.rstrip(WHITE)) <= 1:
        return [b"\0" + text[1:]]
    return trim(text)


def append(text, size, more):
    """The destination lies in a buffer of bytes that are no zeros; only what changes counts."""
    if text is None:
        return [NOTHING]
    if more is None or len(text) >= size:
        return [text]
    return [text + more[: size - len(text) - 1]]


def word_behind(text, key, has_output, limit):
    if text is None or key is None or not has_output or key not in text:
        return [0, NOTHING]
    rest = text[text.index(key) + len(key):].lstrip(WHITE)
    word = re.match(rb"[^ \t\n\v\f\r]*", rest)[0]
    return [1, word[: max(limit, 0)] + b"\0"]


def quoted(text, has_output):
    if text is None or not has_output:
        return [0, NOTHING]
    return [1, b"".join(b"\"'\"" if char == ord("'") else b"'%c'" % char for char in text) + b"\0"]


def encoded(data, length, has_output):
    if not has_output:
        return [0, NOTHING]
    if data is None or length < 1:
        return [0, None]
    text = base64.b64encode(data[:length])
    return [len(text), text + b"\0"]


def decoded(text, length, has_output):
    if not has_output:
        return [0, NOTHING]
    if text is None or not 4 <= length <= LARGEST:
        return [0, None]
    match = re.fullmatch(rb"([A-Za-z0-9+/]*)={0,2}", text[:length])
    if match is None:
        return [0, NOTHING]
    digits = match[1][:-1] if len(match[1]) % 4 == 1 else match[1]
    data = base64.b64decode(digits + b"=" * (-len(digits) % 4))
    return [len(data), data + b"\0"]


def verdict(predicate):
    return lambda *arguments: [predicate(*arguments)]


FUNCTIONS = {
    "ROQ_UTIL_ValidateIpAddress": verdict(is_ip_address),
    "ROQ_UTIL_ValidateHostIpAddress": verdict(lambda text: is_of_class(text, multicast=False)),
    "ROQ_UTIL_ValidateMCastIpAddress": verdict(lambda text: is_of_class(text, multicast=True)),
    "ValidateIpByClass": verdict(lambda text, mode: is_of_class(text, multicast=mode == 1)),
    "ROQ_UTIL_ValidateDnsOrHostAddress": verdict(is_name_or_host),
    "ROQ_UTIL_IsIpFormat": verdict(is_shaped_like_ip),
    "ROQ_UTIL_ValidateSubnetMask": verdict(is_mask),
    "ROQ_UTIL_ValidateHostIpWithSubnetMask": verdict(is_host_in_subnet),
    "ROQ_UTIL_ValidateBroadcastIp": verdict(is_broadcast),
    "ROQ_UTIL_ValidateIpSameSubNet": verdict(is_same_subnet),
    "ROQ_UTIL_IpAddrSplit": split_address,
    "ROQ_UTIL_CheckNum": verdict(lambda value: value in (256 - (1 << bits) for bits in range(1, 9))),
    "ROQ_IpMaskToCidrLen": verdict(prefix_length),
    "ROQ_UTIL_ValidateNumber": verdict(is_number),
    "ROQ_UTIL_ValidateThreeNumberEx": verdict(is_short_number),
    "ROQ_UTIL_ValidateThreeNumber": verdict(lambda text: is_short_number(text, True)),
    "ROQ_UTIL_ValidateNumberRange": verdict(is_within),
    "ROQ_UTIL_ValidateRange": verdict(lambda text, low, high: is_number(text) and is_within(clamp(text), low, high)),
    "ROQ_UTIL_ValidateLength": verdict(lambda text, most: text is not None and 0 < len(text) <= most),
    "ROQ_UTIL_ValidateBool": verdict(lambda value: value in (0, 1)),
    "ROQ_UTIL_ValidatePort": verdict(lambda value: value in range(1, 65536)),
    "ROQ_UTIL_ValidateVlanId": verdict(lambda value: value in range(4095) or value == ALL_ONES),
    "ROQ_UTIL_ValidateVlanIdX": verdict(lambda value: value in range(1, 4095) or value == ALL_ONES),
    "ROQ_UTIL_ValidatePriority": verdict(lambda value: value in range(8) or value == ALL_ONES),
    "ROQ_UTIL_ValidateDate": verdict(is_date),
    "ROQ_UTIL_ValidateTime1": verdict(is_time_with_seconds),
    "ROQ_UTIL_ValidateDateTime": verdict(is_date_time),
    "ROQ_UTIL_ValidateTime": verdict(is_hour_and_minute),
    "ROQ_UTIL_TimeToShort": minute_of_day,
    "ROQ_UTIL_ValidateMacAddress": verdict(is_mac),
    "ROQ_UTIL_ValidateIpv6Address": verdict(lambda text: ipv6_bytes(text) is not None),
    "ROQ_UTIL_ValidateHostIpv6Address": verdict(is_host_ipv6),
    "ROQ_UTIL_ValidateGlobalIpv6Address": verdict(is_global_ipv6),
    "ROQ_UTIL_StrTrim": trim_or_empty,
    "ROQ_UTIL_StrTrimExc": trim,
    "ROQ_UTIL_StrCat": append,
    "ROQ_UTIL_ParseStrInfo": word_behind,
    "ROQ_UTIL_ConvertStrToShellStr": quoted,
    "ROQ_UTIL_Base64Encode": encoded,
    "ROQ_UTIL_Base64Decode": decoded,
}
