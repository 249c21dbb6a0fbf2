// The commands of the gvar group; gvar.cpp lists them with their options and examples.
#ifndef ROQ_TOOL_GVAR_COMMANDS_H
#define ROQ_TOOL_GVAR_COMMANDS_H

#include "cli.h"

namespace roq::tool::gvar {

int run_init(const Invocation& call);
int run_attach(const Invocation& call);
int run_show(const Invocation& call);
int run_delete_module(const Invocation& call);

int run_set(const Invocation& call);
int run_get(const Invocation& call);
int run_list(const Invocation& call);
int run_watch(const Invocation& call);
int run_delete(const Invocation& call);

int run_map(const Invocation& call);
int run_check(const Invocation& call);
int run_repair(const Invocation& call);

int run_bench(const Invocation& call);

// The module or the variable that the first argument names. Nothing, after a message, when it names none.
std::optional<uint32_t> module_argument(const Invocation& call);
std::optional<uint32_t> variable_argument(const Invocation& call);

} // namespace roq::tool::gvar

#endif
