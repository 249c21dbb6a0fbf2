#include "frame/bus_request.h"
#include "netinfo/interface_name.h"
#include "netinfo/modem.h"
#include "netinfo/socket_mark.h"
#include <array>
#include <cstdio>
#include <roqutil/netinfo.h>

using namespace roq::netinfo;

extern "C" uint32_t ROQ_UTIL_GetInterfaceNameById(uint32_t ulId, char* pcName) {
  if (pcName == nullptr) return 0;
  *pcName = '\0';
  return name_interface(ulId, pcName);
}

extern "C" uint32_t ROQ_UTIL_GetIntfType(const char* pcName) {
  if (pcName == nullptr) return 0;
  return roq::frame::request_value("cms", roq::frame::MessageType::interface_type, pcName);
}

extern "C" uint32_t ROQ_Get3GUsbStickNode(uint32_t ulKind, char* pcNode) {
  static constexpr char kKeywords[][6] = {"pcui", "modem", "voice"};
  if (ulKind < 1 || ulKind > std::size(kKeywords) || pcNode == nullptr) {
    puts("\n fail, the para is invalid.");
    return 0;
  }
  LineReader table(kModemTable);
  if (!table.is_open()) {
    puts("\n open proc_user_umts fail");
    return 0;
  }
  return find_modem_node(table, kKeywords[ulKind - 1], pcNode);
}

extern "C" int32_t ROQ_UTIL_QosSetMark(int32_t iSocket, uint32_t ulMark) {
  return mark_socket(iSocket, kMarkOption, ulMark);
}
