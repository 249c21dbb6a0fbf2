#ifndef ROQ_BENCH_GVAR_PEER_DBUS_H
#define ROQ_BENCH_GVAR_PEER_DBUS_H

#include "gvar/server_process.h"
#include <cstring>
#include <dbus/dbus.h>

namespace bench {

// A service that keeps the values, asked through a bus daemon.
class Dbus {
public:
  Dbus()
      : daemon_([] {
          execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile", kAddressOption, nullptr);
        }),
        service_(serve) {
    connection_ = connect();
    until_it_answers([this] { return dbus_bus_name_has_owner(connection_, kName, nullptr) != FALSE; }, "service");
  }
  ~Dbus() {
    dbus_connection_close(connection_);
    dbus_connection_unref(connection_);
  }
  Dbus(const Dbus&) = delete;
  Dbus& operator=(const Dbus&) = delete;

  void get(uint32_t number, char* out) {
    DBusMessage* reply = call("Get", number, nullptr);
    copy_bytes(reply, out);
    dbus_message_unref(reply);
  }
  void set(uint32_t number, char* bytes) { dbus_message_unref(call("Set", number, bytes)); }

private:
  static constexpr const char* kName = "bench.Variables";
  static constexpr const char* kAddress = "unix:path=/var/run/roqutil-bench-dbus";
  static constexpr const char* kAddressOption = "--address=unix:path=/var/run/roqutil-bench-dbus";

  static DBusConnection* connect() {
    DBusConnection* connection = nullptr;
    until_it_answers(
        [&] {
          connection = dbus_connection_open_private(kAddress, nullptr);
          return connection != nullptr;
        },
        "dbus-daemon");
    require(dbus_bus_register(connection, nullptr) != FALSE, "dbus_bus_register");
    return connection;
  }

  static void copy_bytes(DBusMessage* message, char* out) {
    const char* bytes;
    int count;
    require(dbus_message_get_args(message, nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes, &count,
                                  DBUS_TYPE_INVALID) != FALSE,
            "dbus_message_get_args");
    memcpy(out, bytes, kValueSize);
  }

  DBusMessage* call(const char* method, uint32_t number, const char* bytes) {
    DBusMessage* message = dbus_message_new_method_call(kName, "/", kName, method);
    dbus_message_append_args(message, DBUS_TYPE_UINT32, &number, DBUS_TYPE_INVALID);
    if (bytes != nullptr)
      dbus_message_append_args(message, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes, int{kValueSize}, DBUS_TYPE_INVALID);
    DBusMessage* reply = dbus_connection_send_with_reply_and_block(connection_, message, 1000, nullptr);
    dbus_message_unref(message);
    require(reply != nullptr, method);
    return reply;
  }

  static void answer(DBusConnection* connection, DBusMessage* message) {
    static char values[kVariables][kValueSize];
    DBusMessage* reply = dbus_message_new_method_return(message);
    DBusMessageIter arguments;
    uint32_t number;
    dbus_message_iter_init(message, &arguments);
    dbus_message_iter_get_basic(&arguments, &number);
    char* value = values[number % kVariables];
    if (dbus_message_is_method_call(message, kName, "Set")) {
      const char* bytes;
      int count;
      DBusMessageIter array;
      dbus_message_iter_next(&arguments);
      dbus_message_iter_recurse(&arguments, &array);
      dbus_message_iter_get_fixed_array(&array, &bytes, &count);
      memcpy(value, bytes, kValueSize);
    } else {
      dbus_message_append_args(reply, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &value, int{kValueSize}, DBUS_TYPE_INVALID);
    }
    dbus_connection_send(connection, reply, nullptr);
    dbus_message_unref(reply);
  }

  static void serve() {
    DBusConnection* connection = connect();
    dbus_bus_request_name(connection, kName, 0, nullptr);
    while (dbus_connection_read_write(connection, -1)) {
      while (DBusMessage* message = dbus_connection_pop_message(connection)) {
        bool asked =
            dbus_message_is_method_call(message, kName, "Get") || dbus_message_is_method_call(message, kName, "Set");
        if (asked) answer(connection, message);
        dbus_message_unref(message);
      }
      dbus_connection_flush(connection);
    }
  }

  ServerProcess daemon_;
  ServerProcess service_;
  DBusConnection* connection_ = nullptr;
};

} // namespace bench

#endif
