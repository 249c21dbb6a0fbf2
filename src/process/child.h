// What the forked child does until it is the program.
#ifndef ROQ_PROCESS_CHILD_H
#define ROQ_PROCESS_CHILD_H

namespace roq::process {

// Descriptors for the program's outputs, -1 where it keeps the caller's; both may be the same.
struct Redirections {
  int output = -1;
  int error = -1;
};

enum class Session { of_the_caller, own, own_in_background };

// Ends the process with exit, also where that runs what the caller registered with atexit, when it cannot go on.
[[noreturn]] void become_program(const char* path, char** arguments, Redirections files, Session session);

} // namespace roq::process

#endif
