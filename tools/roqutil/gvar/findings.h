// What the inspector found, in words.
#ifndef ROQ_TOOL_GVAR_FINDINGS_H
#define ROQ_TOOL_GVAR_FINDINGS_H

#include "gvar/inspect.h"

namespace roq::tool::gvar {

const char* name_of(Invariant invariant);     // short and fixed, for programs: "free-link"
const char* sentence_of(Invariant invariant); // what holds in a sound segment
void append_expected(Text& out, const Finding& finding);
void append_actual(Text& out, const Finding& finding);

const char* name_of(NoteKind kind);
void append_sentence(Text& out, const Note& note);

} // namespace roq::tool::gvar

#endif
