// Other ways to share named values between processes, behind one shape: get and set of 64 bytes by number.
#ifndef ROQ_BENCH_GVAR_PEERS_H
#define ROQ_BENCH_GVAR_PEERS_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace bench {

inline constexpr uint32_t kVariables = 100;
inline constexpr uint32_t kValueSize = 64;

inline void require(bool holds, const char* what) {
  if (holds) return;
  perror(what);
  exit(1);
}

} // namespace bench

#endif
