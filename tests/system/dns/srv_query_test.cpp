// The SRV query, seen from the name server and from the files; every scenario begins with globals as they are at load.
#include "system/dns/files.h"
#include "system/dns/scenario.h"
#include "system/dns/scripted_server.h"
#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <roqutil/dns.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace roq::tests;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::SizeIs;

constexpr char kService[] = "_sip._udp.example.net";
constexpr char kServer[] = "127.0.0.53", kWanAddress[] = "127.0.0.7";
constexpr char kResultFile[] = "/var/wan/srv_result", kServerFile[] = "/var/voice_dns";
const Bytes kSip1 = srv_record(kAskedName, 10, 20, 5060, wire_name("sip1.example.net"));
const Bytes kSip2 = srv_record(kAskedName, 11, 21, 5061, wire_name("sip2.example.net"));
const Bytes kWebAddress = a_record(kAskedName, {192, 0, 2, 1}, 1234);

class SrvQuery : public Scenarios {};

void describe_wan(const std::string& servers = "nameserver 127.0.0.53\n", const std::string& address = "127.0.0.7\n") {
  write_file("/var/wan/ppp0/dns", servers);
  write_file("/var/wan/ppp0/ipaddr", address);
}

// What a query returned, printed, and how long it took.
struct Outcome {
  RoqSrvRecord* table;
  std::string errors, output;
  steady_clock::duration took;
};

size_t open_descriptors() {
  size_t count = 0;
  for (int fd = 0; fd < 1024; ++fd)
    count += fcntl(fd, F_GETFD) >= 0 ? 1U : 0U;
  return count;
}

Outcome query(const char* interface = "ppp0", const char* service = kService) {
  const size_t descriptors = open_descriptors();
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const auto start = steady_clock::now();
  RoqSrvRecord* table = ROQ_UTIL_DnsSrvQuery(service, interface);
  const auto took = steady_clock::now() - start;
  Outcome outcome{table, testing::internal::GetCapturedStderr(), testing::internal::GetCapturedStdout(), took};
  EXPECT_EQ(open_descriptors(), descriptors);
  return outcome;
}

void expect_nothing_written() {
  EXPECT_EQ(read_file(kResultFile), "(no file)");
  EXPECT_EQ(read_file(kServerFile), "(no file)");
}

bool asks_for_services(const Query& query) { return query.bytes[query.bytes.size() - 3] == kSrv; }

// The WAN's name server, and the relay that knows every host.
std::vector<std::string> all_servers() { return {kServer, "127.0.0.1", "::1"}; }

Script services_and_hosts(std::vector<Bytes> services) {
  return [services = std::move(services)](const Query& asked) {
    if (asks_for_services(asked)) return always(services)(asked);
    return always({a_record(kAskedName, {198, 51, 100, asked.bytes[16]}), a_record(kAskedName, {9, 9, 9, 9})})(asked);
  };
}

ROQ_SCENARIO(SrvQuery, ReturnsTheRecordsAndWritesTheFiles) {
  describe_wan();
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1, kSip2}));
  const Outcome outcome = query();
  ASSERT_EQ(outcome.table, srv_record_table);
  EXPECT_EQ(outcome.table[0].valid, 1U);
  EXPECT_EQ(outcome.table[0].type, 33);
  EXPECT_EQ(outcome.table[0].priority, htons(10));
  EXPECT_EQ(outcome.table[0].weight, htons(20));
  EXPECT_EQ(outcome.table[0].port, htons(5060));
  EXPECT_STREQ(outcome.table[0].target, "sip1.example.net");
  EXPECT_STREQ(outcome.table[0].address, "198.51.100.49") << "the '1' of sip1";
  EXPECT_STREQ(outcome.table[1].target, "sip2.example.net");
  EXPECT_STREQ(outcome.table[1].address, "198.51.100.50");
  EXPECT_EQ(outcome.table[2].valid, 0U);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(read_file(kServerFile), "127.0.0.53\n");
  EXPECT_EQ(read_file(kResultFile), "\nttl=0\n");

  const std::vector<Query> queries = servers.queries();
  ASSERT_THAT(queries, SizeIs(3));
  EXPECT_EQ(queries[0].server, kServer);
  EXPECT_EQ(queries[0].client, kWanAddress);
  EXPECT_EQ(queries[0].bytes, header(0x0929, 0x0100, 1, 0) + question(wire_name(kService), kSrv));
  EXPECT_EQ(queries[1].server, "127.0.0.1");
  EXPECT_EQ(queries[1].client, "127.0.0.1") << "targets are asked for without a source";
  EXPECT_STREQ(g_primary, "127.0.0.53\n");
  EXPECT_STREQ(g_wanipaddr, kWanAddress);
  EXPECT_STREQ(g_resolvename, kService);
  EXPECT_STREQ(g_outfile, kResultFile);
  EXPECT_EQ(g_resolvenums, 0);
}

ROQ_SCENARIO(SrvQuery, UnderItsOldNameIsTheSame) {
  describe_wan();
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  const RoqSrvRecord* table = KR807d_DnsSrv_Query(kService, "ppp0");
  ASSERT_EQ(table, srv_record_table);
  EXPECT_STREQ(table[0].address, "198.51.100.49");
}

ROQ_SCENARIO(SrvQuery, WithoutInterfaceAsksTheLoopbackFromAnyAddress) {
  strcpy(g_wanipaddr, "10.9.8.7");
  ScriptedServer servers({"127.0.0.1"}, services_and_hosts({kSip1}));
  EXPECT_NE(query(nullptr).table, nullptr);
  EXPECT_EQ(servers.asked_servers()[0], "127.0.0.1");
  EXPECT_EQ(servers.clients()[0], "127.0.0.1");
  EXPECT_STREQ(g_primary, "127.0.0.1");
  EXPECT_STREQ(g_wanipaddr, "");
  EXPECT_EQ(read_file(kServerFile), "127.0.0.1");
}

ROQ_SCENARIO(SrvQuery, WithoutANameReturnsNullAtOnce) {
  strcpy(g_primary, "kept");
  EXPECT_EQ(ROQ_UTIL_DnsSrvQuery(nullptr, nullptr), nullptr);
  EXPECT_EQ(KR807d_DnsSrv_Query(nullptr, nullptr), nullptr);
  EXPECT_STREQ(g_primary, "kept");
}

ROQ_SCENARIO(SrvQuery, ThatBringsAnAddressOnlyReturnsNullAndWritesIt) {
  describe_wan();
  ScriptedServer servers(all_servers(), services_and_hosts({kWebAddress}));
  const Outcome outcome = query();
  EXPECT_EQ(outcome.table, nullptr);
  EXPECT_EQ(outcome.errors + outcome.output, "");
  EXPECT_EQ(g_resolvenums, 1);
  EXPECT_STREQ(g_resolveaddr[0], "192.0.2.1");
  EXPECT_EQ(g_ttl[0], 1234U);
  EXPECT_EQ(read_file(kResultFile), "192.0.2.1\n\nttl=1234\n");
  EXPECT_EQ(read_file(kServerFile), "127.0.0.53\n");
}

ROQ_SCENARIO(SrvQuery, AddsItsAddressToThoseOfEarlierQueries) {
  describe_wan();
  g_resolvenums = 1;
  strcpy(g_resolveaddr[0], "10.0.0.1");
  g_ttl[0] = 4294967295;
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1, kWebAddress, kSip2}));
  const Outcome outcome = query();
  ASSERT_NE(outcome.table, nullptr);
  EXPECT_EQ(outcome.table[1].valid, 0U) << "an address ends the walk";
  EXPECT_EQ(g_resolvenums, 2);
  EXPECT_EQ(read_file(kResultFile), "10.0.0.1\n192.0.2.1\n\nttl=4294967295\n");
}

ROQ_SCENARIO(SrvQuery, WithFiveAddressesStoredWritesThemAndAnEmptyLine) {
  describe_wan();
  g_resolvenums = 5;
  for (char i = 0; i < 5; ++i)
    snprintf(g_resolveaddr[+i], sizeof g_resolveaddr[+i], "10.0.0.%d", i);
  ScriptedServer servers(all_servers(), services_and_hosts({kWebAddress}));
  EXPECT_EQ(query().table, nullptr);
  EXPECT_EQ(g_resolvenums, 5);
  EXPECT_EQ(read_file(kResultFile), "10.0.0.0\n10.0.0.1\n10.0.0.2\n10.0.0.3\n10.0.0.4\n\nttl=0\n");
}

ROQ_SCENARIO(SrvQuery, WithANegativeCountWritesTheTtlOnly) {
  describe_wan();
  g_resolvenums = -1;
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  EXPECT_NE(query().table, nullptr);
  EXPECT_EQ(read_file(kResultFile), "ttl=0\n");
}

ROQ_SCENARIO(SrvQuery, ReplacesTheFilesOfTheLastQuery) {
  describe_wan();
  write_file(kResultFile, "something old that is long\n");
  write_file(kServerFile, "something old that is long\n");
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  EXPECT_NE(query().table, nullptr);
  EXPECT_EQ(read_file(kResultFile), "\nttl=0\n");
  EXPECT_EQ(read_file(kServerFile), "127.0.0.53\n");
}

ROQ_SCENARIO(SrvQuery, HoldsEightRecordsInOrder) {
  describe_wan();
  std::vector<Bytes> services;
  for (unsigned i = 0; i < 10; ++i)
    services.push_back(srv_record(kAskedName, i, 0, 5060, wire_name("h")));
  ScriptedServer servers(all_servers(), services_and_hosts(services));
  const RoqSrvRecord* table = query().table;
  ASSERT_NE(table, nullptr);
  for (uint16_t i = 0; i < 8; ++i)
    EXPECT_EQ(table[i].priority, htons(i));
  EXPECT_THAT(servers.queries(), SizeIs(1 + 8));
}

ROQ_SCENARIO(SrvQuery, LeavesTheAddressEmptyWhenNoRelayRuns) {
  describe_wan();
  ScriptedServer servers({kServer}, services_and_hosts({kSip1}));
  const Outcome outcome = query();
  ASSERT_NE(outcome.table, nullptr);
  EXPECT_STREQ(outcome.table[0].address, "");
  EXPECT_LT(outcome.took, seconds(10));
}

ROQ_SCENARIO(SrvQuery, LeavesTheAddressEmptyWhenResolutionIsSwitchedOff) {
  describe_wan();
  write_file("/var/dns/ipv4", "0");
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  const Outcome outcome = query();
  ASSERT_NE(outcome.table, nullptr);
  EXPECT_STREQ(outcome.table[0].address, "");
  EXPECT_THAT(servers.queries(), SizeIs(1));
}

ROQ_SCENARIO(SrvQuery, CutsTheNameAndItsTrailingSpaces) {
  describe_wan();
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  EXPECT_NE(query("ppp0", " _sip._udp.  ").table, nullptr);
  EXPECT_STREQ(g_resolvename, " _sip._udp.");
  EXPECT_EQ(servers.queries()[0].bytes, header(0x0929, 0x0100, 1, 0) + question(wire_name(" _sip._udp"), kSrv));
  EXPECT_EQ(query("ppp0", std::string(300, 'x').c_str()).table, nullptr) << "does not fit the packet";
  EXPECT_EQ(strlen(g_resolvename), 255U);
  EXPECT_THAT(servers.queries(), SizeIs(2));
}

ROQ_SCENARIO(SrvQuery, LooksForItsReplyAtOnceAndThenEveryFiveSeconds) {
  describe_wan();
  ScriptedServer servers(all_servers(), [](const Query& asked) {
    if (asks_for_services(asked)) std::this_thread::sleep_for(seconds(1));
    return services_and_hosts({kSip1})(asked);
  });
  const Outcome outcome = query();
  EXPECT_NE(outcome.table, nullptr);
  EXPECT_GE(outcome.took, milliseconds(4900));
  EXPECT_LT(outcome.took, milliseconds(9500));
}

ROQ_SCENARIO(SrvQuery, FindsAReplyThatCameAfterTheSecondLook) {
  describe_wan();
  ScriptedServer servers(all_servers(), [](const Query& asked) {
    if (asks_for_services(asked)) std::this_thread::sleep_for(milliseconds(6500));
    return services_and_hosts({kSip1})(asked);
  });
  const Outcome outcome = query();
  EXPECT_NE(outcome.table, nullptr);
  EXPECT_GE(outcome.took, milliseconds(9900));
  EXPECT_LT(outcome.took, milliseconds(14500));
}

ROQ_SCENARIO(SrvQuery, WithoutAReplyGivesUpAfter25Seconds) {
  describe_wan();
  ScriptedServer servers(all_servers(), never());
  const Outcome outcome = query();
  EXPECT_EQ(outcome.table, nullptr);
  EXPECT_EQ(outcome.errors + outcome.output, "");
  EXPECT_GE(outcome.took, milliseconds(24900));
  EXPECT_LT(outcome.took, milliseconds(29500));
  EXPECT_THAT(servers.queries(), SizeIs(1)) << "it is asked once";
  expect_nothing_written();
}

ROQ_SCENARIO(SrvQuery, WithoutAServerRunningGivesUpAfter25SecondsToo) {
  describe_wan();
  const Outcome outcome = query();
  EXPECT_EQ(outcome.table, nullptr);
  EXPECT_LT(outcome.took, milliseconds(29500));
  expect_nothing_written();
}

// One bad reply, and then a good one that is not looked at.
void expect_rejected(const Bytes& bad, const std::string& errors) {
  describe_wan();
  ScriptedServer servers(all_servers(), [&](const Query& asked) {
    return std::vector<Bytes>{bad, reply_to(asked.bytes, {kSip1})};
  });
  const Outcome outcome = query();
  EXPECT_EQ(outcome.table, nullptr);
  EXPECT_EQ(outcome.errors, errors);
  EXPECT_EQ(outcome.output, "");
  EXPECT_LT(outcome.took, milliseconds(9500));
  EXPECT_THAT(servers.queries(), SizeIs(1));
  expect_nothing_written();
}

Bytes bent_reply(unsigned id, unsigned flags, const std::vector<Bytes>& records) {
  const Bytes asked = header(id, 0x0100, 1, 0) + question(wire_name(kService), kSrv);
  return reply_to(asked, records, flags);
}

ROQ_SCENARIO(SrvQuery, RejectsAnotherIdSilently) { expect_rejected(bent_reply(0x0928, kReplyFlags, {kSip1}), ""); }

ROQ_SCENARIO(SrvQuery, RejectsAnErrorCodeSilently) { expect_rejected(bent_reply(0x0929, 0x8183, {kSip1}), ""); }

ROQ_SCENARIO(SrvQuery, RejectsAReplyWithoutUsefulRecordsSilently) {
  expect_rejected(bent_reply(0x0929, kReplyFlags, {record(kAskedName, kTxt, 1, raw("?"))}), "");
}

ROQ_SCENARIO(SrvQuery, RejectsAnEmptyDatagram) { expect_rejected({}, "ifdns:invalid feedback.\n"); }

ROQ_SCENARIO(SrvQuery, RejectsElevenBytes) { expect_rejected(Bytes(11, 9), "ifdns:invalid feedback.\n"); }

ROQ_SCENARIO(SrvQuery, RejectsAReplyThatEndsWithItsQuestion) {
  expect_rejected(bent_reply(0x0929, kReplyFlags, {}), "ifdns:got bad packet from server.\n");
}

ROQ_SCENARIO(SrvQuery, ReadsAtMost1024Bytes) {
  describe_wan();
  const Bytes filler = record(kAskedName, kTxt, 1, Bytes(1024 - 12 - 27 - 12 - 40, 0));
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1, filler, kSip2}));
  const RoqSrvRecord* table = query().table;
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table[1].valid, 0U) << "the second record is cut off";
}

ROQ_SCENARIO(SrvQuery, ReportsAMissingServerFile) {
  const Outcome outcome = query();
  EXPECT_EQ(outcome.table, nullptr);
  EXPECT_EQ(outcome.errors, "ifdns:can't get dns server\n");
  EXPECT_EQ(outcome.output, "");
  expect_nothing_written();
}

ROQ_SCENARIO(SrvQuery, ReportsAServerFileWithoutServers) {
  for (const char* content :
       {"", "\n", "nameserver\n", "nameserver\t127.0.0.53\n", "Nameserver 127.0.0.53\n", "127.0.0.53\n"}) {
    describe_wan(content);
    EXPECT_EQ(query().errors, "ifdns:can't get dns server\n") << content;
  }
}

ROQ_SCENARIO(SrvQuery, ReportsAnInterfaceNameThatIsTooLong) {
  EXPECT_EQ(query(std::string(5000, 'x').c_str()).errors, "ifdns:can't get dns server\n");
}

ROQ_SCENARIO(SrvQuery, ReportsAMissingOrEmptyAddressFile) {
  describe_wan();
  strcpy(g_wanipaddr, "10.9.8.7");
  unlink("/var/wan/ppp0/ipaddr");
  EXPECT_EQ(query().errors, "ifdns:can't get interfacd:ppp0 's ip\n");
  EXPECT_STREQ(g_wanipaddr, "");
  for (const char* content : {"", "\n", "  \t\n", "\n127.0.0.7\n"}) {
    describe_wan("nameserver 127.0.0.53\n", content);
    EXPECT_EQ(query().errors, "ifdns:can't get interfacd:ppp0 's ip\n") << content;
  }
  expect_nothing_written();
}

ROQ_SCENARIO(SrvQuery, ReportsThatNoSocketCanBeHad) {
  rlimit limit{3, 3};
  const int out = dup(1), err = dup(2);
  FILE* errors = tmpfile();
  dup2(fileno(errors), 2);
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(ROQ_UTIL_DnsSrvQuery(kService, nullptr), nullptr);
  limit = {1024, 1024};
  setrlimit(RLIMIT_NOFILE, &limit);
  dup2(err, 2);
  close(err);
  close(out);
  char line[64] = "";
  rewind(errors);
  EXPECT_NE(fgets(line, sizeof line, errors), nullptr);
  EXPECT_STREQ(line, "socket error @ line 598.\n");
  fclose(errors);
}

ROQ_SCENARIO(SrvQuery, ReportsAnAddressThatCannotBeBound) {
  for (const char* address : {"192.0.2.99\n", "ppp0\n"}) {
    describe_wan("nameserver 127.0.0.53\n", address);
    const Outcome outcome = query();
    EXPECT_EQ(outcome.table, nullptr);
    EXPECT_EQ(outcome.errors, "socket error @ line 609.\n") << address;
    EXPECT_EQ(outcome.output, "");
  }
}

ROQ_SCENARIO(SrvQuery, ReportsAServerThatIsNoAddressAsASendError) {
  for (const char* server : {"nameserver dns.example.net\n", "nameserver \n", "nameserver  127.0.0.53\n"}) {
    describe_wan(server);
    const Outcome outcome = query();
    EXPECT_EQ(outcome.table, nullptr);
    EXPECT_EQ(outcome.output, "\nsendto error") << server;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_LT(outcome.took, seconds(3));
  }
  expect_nothing_written();
}

ROQ_SCENARIO(SrvQuery, ReportsAResultFileThatCannotBeCreated) {
  describe_wan();
  write_file("/var/wan/srv_result/in_the_way", "");
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  const Outcome outcome = query();
  EXPECT_EQ(outcome.table, nullptr);
  EXPECT_EQ(outcome.errors, "ifdns:Out file: /var/wan/srv_result , can't be created\n");
  EXPECT_EQ(read_file(kServerFile), "127.0.0.53\n") << "written before";
}

ROQ_SCENARIO(SrvQuery, GoesOnWithoutAServerFileToWrite) {
  describe_wan();
  write_file("/var/voice_dns/in_the_way", "");
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  EXPECT_NE(query().table, nullptr);
  EXPECT_EQ(read_file(kResultFile), "\nttl=0\n");
}

ROQ_SCENARIO(SrvQuery, AsksWhatWasPrimaryWhenTheFirstLineNamesNoServer) {
  describe_wan("# servers\nnameserver 127.0.0.53\nnameserver 127.0.0.54\n");
  EXPECT_EQ(query().output, "\nsendto error") << "nothing was primary before";
  EXPECT_STREQ(g_primary, "");
  EXPECT_STREQ(g_secondary, "127.0.0.54\n") << "the last one wins";

  strcpy(g_primary, "127.0.0.99");
  ScriptedServer servers({"127.0.0.99", "127.0.0.53", "127.0.0.54"}, services_and_hosts({kSip1}));
  EXPECT_NE(query().table, nullptr);
  EXPECT_THAT(servers.asked_servers(), ElementsAre("127.0.0.99"));
  EXPECT_EQ(read_file(kServerFile), "127.0.0.99");
}

ROQ_SCENARIO(SrvQuery, TakesTheServerBehindOtherTextAndWithoutLineEnd) {
  describe_wan("option nameserver 127.0.0.53");
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  EXPECT_NE(query().table, nullptr);
  EXPECT_EQ(read_file(kServerFile), "127.0.0.53");
}

ROQ_SCENARIO(SrvQuery, TakesTextBehindTheServerAlong) {
  describe_wan("nameserver 127.0.0.53 # the first\r\n");
  ScriptedServer servers(all_servers(), services_and_hosts({kSip1}));
  EXPECT_NE(query().table, nullptr);
  EXPECT_EQ(read_file(kServerFile), "127.0.0.53 # the first\r\n");
}

ROQ_SCENARIO(SrvQuery, CutsServersAt63Characters) {
  describe_wan("nameserver " + std::string(100, '1') + "\nnameserver " + std::string(100, '2') + "\n");
  query();
  EXPECT_EQ(std::string(g_primary), std::string(63, '1'));
  EXPECT_EQ(std::string(g_secondary), std::string(63, '2'));
}

ROQ_SCENARIO(SrvQuery, CountsEveryPieceOfAnOverlongLine) {
  // 255 characters make the first piece, so the server stands on the second "line".
  describe_wan(std::string(255, '#') + "nameserver 127.0.0.53\n");
  EXPECT_EQ(query().output, "\nsendto error");
  EXPECT_STREQ(g_primary, "");
  EXPECT_STREQ(g_secondary, "127.0.0.53\n");
}

ROQ_SCENARIO(SrvQuery, StopsReadingServersAtALineThatBeginsWithAZeroByte) {
  describe_wan(std::string("nameserver 127.0.0.53\n\0\nnameserver 127.0.0.54\n", 46));
  write_file("/var/wan/ppp0/ipaddr", "192.0.2.99\n");
  EXPECT_EQ(query().errors, "socket error @ line 609.\n");
  EXPECT_STREQ(g_primary, "127.0.0.53\n");
  EXPECT_STREQ(g_secondary, "");
}

ROQ_SCENARIO(SrvQuery, ReadsAHugeServerFile) {
  std::string content = "nameserver 127.0.0.53\n";
  for (int i = 0; i < 100000; ++i)
    content += "nameserver 10.0.0.1\n";
  describe_wan(content + "nameserver 10.0.0.2\n", "192.0.2.99");
  EXPECT_EQ(query().errors, "socket error @ line 609.\n");
  EXPECT_STREQ(g_primary, "127.0.0.53\n");
  EXPECT_STREQ(g_secondary, "10.0.0.2\n");
}

// The library reads its globals where this program has them.
TEST(SrvGlobals, AreSharedWithTheProgram) {
  strcpy(g_resolvename, "a.b");
  uint8_t packet[256];
  int32_t length = sizeof packet;
  ASSERT_EQ(constructpacket(packet, &length), 0);
  EXPECT_EQ(Bytes(packet + 12, packet + length), question(wire_name("a.b"), kSrv));
  EXPECT_EQ(Ok_dns, 0U);
  memset(g_resolvename, 0, sizeof g_resolvename);
}

TEST(SrvGlobals, HaveTheSizesOfTheInterface) {
  EXPECT_EQ(sizeof g_primary, 64U);
  EXPECT_EQ(sizeof g_secondary, 64U);
  EXPECT_EQ(sizeof g_wanipaddr, 64U);
  EXPECT_EQ(sizeof g_resolvename, 256U);
  EXPECT_EQ(sizeof g_outfile, 128U);
  EXPECT_EQ(sizeof g_resolveaddr, 100U);
  EXPECT_EQ(sizeof g_ttl, 20U);
  EXPECT_EQ(sizeof srv_record_table, 8U * 212);
}

ROQ_SCENARIO(SrvQuery, MakesANewResultFileAndRewritesTheServerFile) {
  write_file(kResultFile, "old result\n");
  write_file(kServerFile, "old server that is long\n");
  ASSERT_EQ(link(kResultFile, "/var/wan/old_result"), 0);
  ASSERT_EQ(link(kServerFile, "/var/same_server"), 0);
  ScriptedServer servers({"127.0.0.1", "::1"}, services_and_hosts({kSip1}));
  EXPECT_NE(query(nullptr).table, nullptr);
  EXPECT_EQ(read_file(kResultFile), "\nttl=0\n");
  EXPECT_EQ(read_file("/var/wan/old_result"), "old result\n") << "removed, not rewritten";
  EXPECT_EQ(read_file("/var/same_server"), "127.0.0.1") << "rewritten, not removed";
}

ROQ_SCENARIO(SrvQuery, ThatEndsEarlyLeavesWhatItDidNotReach) {
  for (char* text : {g_primary, g_secondary, g_wanipaddr, g_resolvename, g_outfile})
    strcpy(text, "kept");
  srv_record_table[0].valid = 77;
  EXPECT_EQ(query().errors, "ifdns:can't get dns server\n");
  for (const char* text : {g_primary, g_secondary, g_wanipaddr, g_resolvename, g_outfile})
    EXPECT_STREQ(text, "kept");
  write_file("/var/wan/ppp0/dns", "nameserver 127.0.0.53\n");
  EXPECT_EQ(query().errors, "ifdns:can't get interfacd:ppp0 's ip\n");
  EXPECT_STREQ(g_primary, "127.0.0.53\n");
  EXPECT_STREQ(g_wanipaddr, "");
  for (const char* text : {g_secondary, g_resolvename, g_outfile})
    EXPECT_STREQ(text, "kept");
  ScriptedServer servers({"127.0.0.1"},
                         [](const Query& asked) { return std::vector<Bytes>{reply_to(asked.bytes, {kSip1}, 0x8183)}; });
  EXPECT_EQ(query(nullptr).table, nullptr);
  EXPECT_STREQ(g_secondary, "kept") << "without an interface only the primary is set";
  EXPECT_EQ(srv_record_table[0].valid, 77U) << "not analysed";
}

TEST(AnalyseDnsResponse, FillsTheTableAndResolvesItsTargets) {
  const Bytes asked = header(0x0929, 0x0100, 1, 0) + question(wire_name(kService), kSrv);
  const Bytes address = reply_to(asked, {kWebAddress});
  const Bytes service = reply_to(asked, {srv_record(kAskedName, 1, 2, 3, wire_name("198.51.100.4"))});
  RoqSrvRecord marker{}, *table = &marker;
  EXPECT_EQ(analyse_dns_response(address.data(), static_cast<int32_t>(address.size()), &table), 0);
  EXPECT_EQ(table, &marker);
  EXPECT_STREQ(g_resolveaddr[0], "192.0.2.1");
  EXPECT_EQ(analyse_dns_response(service.data(), static_cast<int32_t>(service.size()) - 1, &table), -1);
  EXPECT_EQ(analyse_dns_response(service.data(), static_cast<int32_t>(service.size()), &table), 0);
  ASSERT_EQ(table, srv_record_table);
  EXPECT_STREQ(table[0].target, "198.51.100.4");
  EXPECT_STREQ(table[0].address, "198.51.100.4") << "numeric: no query";
  g_resolvenums = 0;
}

ROQ_SCENARIO(SrvQuery, RemovesAnEmptyFolderInThePlaceOfTheResultFile) {
  ASSERT_EQ(mkdir(kResultFile, 0755), 0);
  ScriptedServer servers({"127.0.0.1", "::1"}, services_and_hosts({kSip1}));
  EXPECT_NE(query(nullptr).table, nullptr);
  EXPECT_EQ(read_file(kResultFile), "\nttl=0\n");
}

} // namespace
