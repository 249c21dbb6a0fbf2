// The kernel's segments and semaphore sets as a script: it records every call that the store makes and answers as the
// test says. One exists at a time; while there is none the calls go to the kernel.
//
//   ScriptedIpc ipc({-EEXIST, 5});                 // what the calls return in turn, -errno for a failure
//   EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), ...);
//   EXPECT_THAT(ipc.calls, ElementsAre("shmget module 3, 1024, 03666", ...));
#ifndef ROQ_TESTS_UNIT_GVAR_SCRIPTED_IPC_H
#define ROQ_TESTS_UNIT_GVAR_SCRIPTED_IPC_H

#include <cerrno>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace roq::test {

class ScriptedIpc {
public:
  explicit ScriptedIpc(std::deque<int> script = {});
  ~ScriptedIpc();
  ScriptedIpc(const ScriptedIpc&) = delete;
  ScriptedIpc& operator=(const ScriptedIpc&) = delete;

  std::deque<int> answers;         // 0 when there are none left
  std::map<int, uint32_t> modules; // which module's segment an index of the listing has
  uint32_t attached_at = 0;        // 0: where it was asked for
  std::vector<std::string> calls;

  int answer();
  std::vector<std::string> take_calls();
};

} // namespace roq::test

#endif
