// A process that goes to the background when it is ready, as the gateway's services do.
#ifndef GATEWAY_SERVICE_H
#define GATEWAY_SERVICE_H

namespace gateway {

// Continues in a child with a session of its own, noted in /var/run/NAME.pid; it still prints where the caller's output
// goes. The calling process ends when the child says that it is ready (with 0) or ends (with 1).
class Service {
public:
  explicit Service(const char* name);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // From here on the output goes to /var/log/NAME.log.
  void is_ready();

  // False when the service was asked to end, with SIGTERM or SIGINT.
  static bool is_wanted();

private:
  const char* name_;
  int ready_;
};

} // namespace gateway

#endif
