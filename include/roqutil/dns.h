/*
 * The DNS client: host names through the gateway's own DNS relay, SRV records through the name server of one WAN
 * connection, and the small files that describe a WAN connection.
 *
 * No resolver configuration and no hosts file is read. Host names are asked over UDP at port 53 of the loopback, where
 * the gateway's relay listens; SRV records at port 53 of a WAN connection's first name server.
 *
 *   file                                     read or written by
 *   /var/dns/ipv4                            switch of IPv4 name resolution
 *   /proc/sys/net/ipv6/conf/all/enable       switch: IPv6 in the kernel
 *   /var/dns/ipv6                            switch of IPv6 name resolution
 *   /var/wan/<interface>/dns                 name servers of a WAN connection, "nameserver <address>" lines
 *   /var/wan/<interface>/ipaddr              local address of a WAN connection, its first line's first word
 *   /var/voice_dns                           written: the server that answered the last SRV query
 *   /var/wan/srv_result                      written: addresses and a TTL out of the last SRV query
 *
 * Example: the addresses of a name, over the WAN connection that owns 192.0.2.7.
 *
 *   struct hostent* host = ROQ_UTIL_Gethostbyname("example.net", AF_INET, "192.0.2.7");
 *   for (char** at = host ? host->h_addr_list : NULL; at != NULL && *at != NULL; ++at)
 *     puts(inet_ntoa(*(struct in_addr*)*at));
 *
 * Example: the SIP servers of a service, over the WAN connection ppp0.
 *
 *   const RoqSrvRecord* table = ROQ_UTIL_DnsSrvQuery("_sip._udp.example.net", "ppp0");
 *   for (int i = 0; table != NULL && i < 8 && table[i].valid; ++i)
 *     printf("%u %s %s\n", ntohs(table[i].port), table[i].target, table[i].address);
 */
#ifndef ROQUTIL_DNS_H
#define ROQUTIL_DNS_H

#include <netdb.h>
#include <roqutil/api.h>
#include <stdint.h>

ROQ_EXTERN_C_BEGIN

/* ---- Host names ----------------------------------------------------------------------------------------------------
 *
 * The lookup. A name that is a numeric address of the family is answered at once. Any other is sent as one question
 * (recursion desired) to the relay: for IPv4 twice to 127.0.0.1, then twice to ::1, for IPv6 the other way round, each
 * time with 2 seconds to answer. With a source address all four attempts go to one relay address: ::1 when the source
 * is an IPv6 address, else 127.0.0.1. The socket is bound to the source, so that the relay can tell which WAN
 * connection the question belongs to.
 *
 * A call thus takes at most 8 seconds. It is not told apart why an attempt failed: a name that does not exist costs
 * four exchanges, a relay that is not running answers with "port unreachable" and costs next to nothing. The id of a
 * query is the clock's second plus one and the same in all attempts.
 *
 * Attempts fail on no reply, a reply with another id, without the response bit, with an error code or without answers,
 * and on an answer section that is cut off, leads outside what was received, has an owner name beyond 254 characters or
 * addresses of different lengths. Only the first datagram of an attempt is looked at. Not tried again are a name that
 * cannot be encoded (495 bytes and more, a dot at its end not counted) and a source address that cannot be bound.
 *
 * Of the answers those of the family are taken, at most eight, whatever stands between them. CNAME records in front
 * of them are passed over, not followed; a lone CNAME is a failure.
 *
 * Switch files. A file's first line is read as a decimal number on each call, and the family is on when the number is
 * exactly 1; a file that cannot be opened counts as 1, an empty one as 0.
 */

/*
 * Resolves pcName, reentrant.
 *
 * pcName      the name or numeric address; for AF_INET in any form that inet_aton takes
 * iFamily     AF_INET (2) or AF_INET6 (10)
 * pstResult   the record to fill; written on success only
 * pcBuf       ulBufLen bytes that everything in the record points into; best aligned for pointers: up to its first
 *             aligned byte it is not used
 * ppstResult  set to pstResult on success, else to null
 * pcSource    numeric local address to ask from, or null; a text that is no address binds to any
 *
 * Returns
 *    0  resolved. h_name is the owner name of the first address record (of a numeric address: the text itself),
 *       h_addr_list holds up to eight addresses and ends with null.
 *   22  a null name, record, buffer or result place; another family; or the family is switched off
 *   34  the buffer is too small, at all or for the records that the reply announces behind the first address, of
 *       whatever type: (address length + 4) bytes each, and 256
 *    2  the lookup failed, or brought no address of the family
 *
 * The buffer holds at least 300 bytes for AF_INET and 280 for AF_INET6 (with pointers of 8 bytes: 344 and 288). Each
 * address behind the first needs its length and a pointer besides, all of them up to a pointer of padding, and 256
 * bytes must remain. In order it holds:
 *
 *   the first address    4 (padded to a pointer) or 16 bytes
 *   the address list     2 pointers: the first address, null
 *   the alias list       8 pointers, AF_INET only: the name area, null, six unused
 *   the name area        the rest
 *
 * Further addresses are moved to two pointers before the name area, a new list follows them, and the name area
 * begins behind that.
 *
 * HAZARDS
 *  - With AF_INET switched off, 22 is returned and *ppstResult keeps its value. Every other failure sets it to null.
 *  - For AF_INET the alias list points at the first place of the name area: it repeats the official name only while
 *    there is one address, and shows address bytes when there are more. For AF_INET6 h_aliases is left as it was.
 *
 * Reentrant; prints nothing.
 */
ROQ_API int32_t handy_gethostbyname2_r(const char* pcName, int32_t iFamily, struct hostent* pstResult, char* pcBuf,
                                       uint32_t ulBufLen, struct hostent** ppstResult, const char* pcSource);

/*
 * Resolves an IPv4 name into static storage (a buffer of 460 bytes); null on any failure.
 *
 * ulSource  local IPv4 address to ask from, in network byte order. 0 binds to any address, but still counts as a
 *           source: all attempts go to 127.0.0.1.
 *
 * The switch file is not read: this resolves even when IPv4 name resolution is switched off. Not reentrant: the next
 * call overwrites the record.
 */
ROQ_API struct hostent* roq_gethostbyname(const char* pcName, uint32_t ulSource);

/*
 * handy_gethostbyname2_r into static storage of its own (a buffer of 472 bytes); null on any failure, a switched-off
 * family included. Not reentrant: the next call, and the next SRV query, overwrites the record.
 */
ROQ_API struct hostent* ROQ_UTIL_Gethostbyname(const char* pcName, int32_t iFamily, const char* pcSource);

/* ---- SRV query -----------------------------------------------------------------------------------------------------
 *
 * All state lies in the global variables below; nothing here is reentrant.
 */

/* One SRV record. The table's first free place, and every one behind it, has valid 0. */
typedef struct RoqSrvRecord {
  uint32_t valid;                  /* 1 for a filled record */
  char name[64];                   /* empty */
  uint16_t type;                   /* 33 */
  uint16_t class_;                 /* 0 */
  uint32_t ttl;                    /* 0 */
  uint16_t rdlength;               /* 0 */
  uint16_t priority, weight, port; /* in network byte order */
  char target[64];                 /* host name in dotted form, cut to 62 characters and looked up as cut */
  char address[64];                /* its first IPv4 address, empty when it could not be resolved */
} RoqSrvRecord;

/*
 * Asks the first name server of a WAN connection for the SRV records of a service, and resolves each target.
 *
 * pcService    such as "_sip._udp.example.net"; cut to 255 characters, trailing spaces dropped
 * pcInterface  the WAN connection, whose files under /var/wan/<interface>/ tell server and local address; null asks
 *              127.0.0.1 from any address
 *
 * Returns the eight records of srv_record_table, in the order of the reply, when at least one SRV record came; the
 * table is valid until the next query. Else null, with on standard error:
 *
 *   ifdns:can't get dns server             no server file, or no "nameserver " line in it
 *   ifdns:can't get interfacd:%s 's ip     no address file, or an empty first line
 *   socket error @ line 598.               no socket
 *   socket error @ line 609.               the local address is no address or cannot be bound
 *   ifdns:invalid feedback.                a reply of fewer than 12 bytes
 *   ifdns:got bad packet from server.      a reply that ends within or right behind its questions
 *   ifdns:Out file: %s , can't be created  the result file cannot be opened
 *
 * or, on standard output, a line end and "sendto error" when the query could not be sent. Nothing is printed, and null
 * returned, for a null name, one whose query is longer than 256 bytes, no reply, a reply with another id or an error
 * code, and one without SRV records.
 *
 * One query is sent, with the id 0x0929. The reply is looked for at once and then after each of five pauses of 5
 * seconds: a reply that takes a moment is returned after 5 seconds, and a server that does not answer costs 25. The
 * targets are looked up one after the other as by ROQ_UTIL_Gethostbyname.
 *
 * After an analysis that succeeded the server's text goes to /var/voice_dns, and /var/wan/srv_result is written anew:
 * g_resolvenums + 1 lines of addresses, the last one empty, and "ttl=" with the first stored TTL.
 *
 * HAZARDS
 *  - Only the first line of the server file is ever asked. A file that begins with anything but a "nameserver " line
 *    leaves g_primary as the last query left it.
 *  - g_resolvenums is never reset: addresses pile up over the queries of a process, in the result file, too.
 *  - An A record ends the analysis of a reply: SRV records behind it are lost.
 *  - Owner names are taken for two-byte pointers and targets for plain labels; a target that was compressed, or has a
 *    label of more than 31 characters behind its first, comes out garbled.
 */
ROQ_API RoqSrvRecord* ROQ_UTIL_DnsSrvQuery(const char* pcService, const char* pcInterface);

/* The same under its old name. */
ROQ_API RoqSrvRecord* KR807d_DnsSrv_Query(const char* pcService, const char* pcInterface);

/*
 * Writes the SRV query for g_resolvename. *plLen is the buffer's capacity before and the packet's length after.
 *
 * Returns 0; -1 for a null pointer or when the query does not fit, with *plLen left alone. Nothing is written beyond
 * the capacity. Leading, trailing and doubled dots of the name are dropped; a name without a dot is one label. Labels
 * beyond 63 bytes are not refused.
 */
ROQ_API int32_t constructpacket(uint8_t* pucPacket, int32_t* plLen);

/*
 * Analyses a reply of lLen bytes into srv_record_table, g_resolveaddr, g_ttl and g_resolvenums, and resolves the
 * targets.
 *
 * Returns 0 when the reply held SRV records (*ppstTable is then srv_record_table) or an A record (*ppstTable is left
 * alone), else -1, with the two messages about replies above. At most eight SRV records are taken, and the first A
 * record of 4 bytes; with five addresses stored a further one is not stored. A record that is cut off ends the
 * analysis, and what came before it counts.
 */
ROQ_API int32_t analyse_dns_response(const uint8_t* pucPacket, int32_t lLen, RoqSrvRecord** ppstTable);

/* What the last query used, and what all queries of this process have found. Zero at load. */
extern ROQ_API char g_primary[64];               /* the server's text, line end included */
extern ROQ_API char g_secondary[64];             /* the last further server; never asked */
extern ROQ_API char g_wanipaddr[64];             /* local address, empty for any */
extern ROQ_API char g_resolvename[256];          /* the service asked for */
extern ROQ_API char g_outfile[128];              /* "/var/wan/srv_result" */
extern ROQ_API char g_resolveaddr[5][20];        /* addresses of A records */
extern ROQ_API uint32_t g_ttl[5];                /* their TTLs */
extern ROQ_API int32_t g_resolvenums;            /* how many; never reset */
extern ROQ_API uint32_t Ok_dns;                  /* not used */
extern ROQ_API RoqSrvRecord srv_record_table[8]; /* what ROQ_UTIL_DnsSrvQuery returns */

/* ---- WAN connections --------------------------------------------------------------------------------------------- */

/*
 * Reads the first word of /var/wan/<interface>/ipaddr, at most 63 characters, into g_wanipaddr.
 *
 * Returns 0, or -1 when the file cannot be opened or its first line is blank; g_wanipaddr is then empty. A null
 * interface empties it and gives 0.
 */
ROQ_API int32_t get_ifc_ipaddr2(const char* pcInterface);

/*
 * The address of the other end of a point-to-point interface, as dotted text in pcOut, which has at least 16 bytes.
 *
 * Returns 0, or -1 with pcOut left alone. An interface that is not point-to-point gives its own address.
 */
ROQ_API int32_t getaddr(const char* pcInterface, char* pcOut);

/*
 * The first line of a file, cut to lSize - 1 characters and then at its first white space.
 *
 * Returns 0, with an empty text for an empty file or a line that begins with white space; -1, with pcBuf left alone,
 * when the file cannot be opened, a pointer is null or lSize is not positive.
 */
ROQ_API int32_t Wan_readFirstLine(const char* pcPath, char* pcBuf, int32_t lSize);

ROQ_EXTERN_C_END

#endif
