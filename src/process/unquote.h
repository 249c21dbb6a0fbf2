// Removing the quotes and backslashes of an argument.
#ifndef ROQ_PROCESS_UNQUOTE_H
#define ROQ_PROCESS_UNQUOTE_H

namespace roq::process {

// In place. Outside quotes a backslash makes the next character an ordinary one; inside quotes it is one itself.
// False when a quoted run is left open; the text is then half done.
[[nodiscard]] bool unquote(char* text);

} // namespace roq::process

#endif
