#include "frame/bus_request.h"

#include "support/owners.h"
#include "support/text.h"
#include <roqutil/msg.h>

namespace roq::frame {

uint32_t request_value(const char* addressee, MessageType type, const char* text) {
  Request request{};
  ROQ_MSG_SimpleBuilder(&request, addressee, static_cast<uint32_t>(type), 0);
  copy_cut(request.payload, sizeof request.payload, text);
  request.payload_length = static_cast<uint32_t>(strlen(text)) + 1;

  void* reply = nullptr;
  if (ROQ_MSG_SendAndRecv(&request, &reply, kReplyTimeoutMs) != 0) return 0;
  MallocPtr<void> owned(reply);
  return static_cast<const Notice*>(reply)->result;
}

void send_notice(MessageType type, const char* text) {
  Notice notice{};
  ROQ_MSG_SimpleBuilder(&notice, nullptr, static_cast<uint32_t>(type), 0);
  notice.payload_length = kNoticePayloadRoom;
  copy_cut(notice.payload, sizeof notice.payload, text);
  ROQ_MSG_Send(&notice);
}

} // namespace roq::frame
