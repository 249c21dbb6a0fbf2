// roqutil gvar: the variable store. What the commands do lies in gvar/.
#include "groups.h"

#include "gvar/commands.h"

namespace roq::tool {
namespace {

constexpr Option kWait{"wait", "SECONDS", "how long to wait for the lock (default 5)"};
constexpr Option kWaitAndJson[] = {kWait, kJsonOption};

constexpr Option kInitOptions[] = {{"size", "BYTES", "size of a new segment, 1024 to 0x80000 (default 0x10000)"},
                                   {"header", "BYTES", "bytes in front of the pool, a multiple of 4 (default 52)"},
                                   {"no-lock", nullptr, "switch locking off, for every process that uses the module"},
                                   kJsonOption};
constexpr Example kInitExamples[] = {{"roqutil gvar init 2", "module 2 with 64 KiB"},
                                     {"roqutil gvar init 3 --size 0x80000", "module 3 with all a module may have"}};

constexpr Option kShowOptions[] = {
    {"wait", "SECONDS", "how long to wait for the lock before going on without (default 1)"}, kJsonOption};
constexpr Example kAttachExamples[] = {
    {"roqutil gvar attach 2", "see whether module 2 can be attached, and how it is"}};
constexpr Example kShowExamples[] = {{"roqutil gvar show 2", "header, semaphore and pool of module 2"},
                                     {"roqutil gvar show 2 --json", "the same for a program"}};

constexpr Option kSetOptions[] = {{"hex", nullptr, "VALUE is pairs of hex digits"},
                                  {"file", "FILE", "the value is the content of FILE; - is standard input"},
                                  {"terminated", nullptr, "add a zero byte behind a VALUE that is text"},
                                  {"wait", "SECONDS", "how long the access may take (default 5)"}};
constexpr Example kSetExamples[] = {{"roqutil gvar set 2:1 ppp0", "four bytes of text"},
                                    {"roqutil gvar set 0x00020001 --hex 00ff10", "three bytes"},
                                    {"roqutil gvar set 2:7 --file /etc/hosts", "a whole file"},
                                    {"roqutil gvar set 2:1 -- --dashes", "a value that begins with dashes"}};

constexpr Option kGetOptions[] = {{"hex", nullptr, "print the bytes as hex digits"},
                                  {"raw", nullptr, "print the bytes as they are, with nothing behind them"},
                                  {"wait", "SECONDS", "how long the access may take (default 5)"},
                                  kJsonOption};
constexpr Example kGetExamples[] = {{"roqutil gvar get 2:1", "variable 1 of module 2, readable"},
                                    {"roqutil gvar get 2:7 --raw > file", "its bytes, into a file"}};

constexpr Example kListExamples[] = {{"roqutil gvar list 2", "the variables of module 2, newest first"},
                                     {"roqutil gvar list 2 --json", "with their whole values"}};

constexpr Option kWatchOptions[] = {{"interval", "SECONDS", "time between two looks, 0.001 to 3600 (default 0.2)"},
                                    {"count", "NUMBER", "end after so many changes (default: never)"},
                                    {"hex", nullptr, "print the bytes as hex digits"},
                                    kJsonOption};
constexpr Example kWatchExamples[] = {{"roqutil gvar watch 2:1", "until interrupted"},
                                      {"roqutil gvar watch 2:1 --count 1 --json", "until it changes"}};

constexpr Option kDeleteOptions[] = {{"force", nullptr, "delete, whatever that does to the list"},
                                     {"wait", "SECONDS", "how long the access may take (default 5)"},
                                     kJsonOption};
constexpr Example kDeleteExamples[] = {{"roqutil gvar delete 2:1", "what a deletion would do"},
                                       {"roqutil gvar delete 2:1 --force", "do it"}};
constexpr Example kDeleteModuleExamples[] = {{"roqutil gvar delete-module 2", "remove the segment of module 2"}};

constexpr Option kMapOptions[] = {{"svg", "FILE", "draw the picture into FILE, too"}, kWait, kJsonOption};
constexpr Example kMapExamples[] = {{"roqutil gvar map 2", "what the pool of module 2 is used for"},
                                    {"roqutil gvar map 2 --svg pool.svg", "a picture for a browser"}};

constexpr Example kCheckExamples[] = {{"roqutil gvar check 2", "name all damage of module 2"},
                                      {"roqutil gvar check 2 --wait 60", "with patience for a busy writer"}};

constexpr Option kRepairOptions[] = {
    {"release-unlisted", nullptr, "give back the blocks that no listed variable uses"}, kWait, kJsonOption};
constexpr Example kRepairExamples[] = {
    {"roqutil gvar repair 2", "make module 2 usable again"},
    {"roqutil gvar repair 2 --release-unlisted", "and win back what deletions lost"}};

constexpr Option kBenchOptions[] = {{"size", "BYTES", "size of a value (default 64)"},
                                    {"variables", "NUMBER", "how many variables there are (default 100)"},
                                    {"rounds", "NUMBER", "accesses of each kind in one of ten turns (default 10000)"},
                                    kJsonOption};
constexpr Example kBenchExamples[] = {{"roqutil gvar bench 6", "in module 6, which must not exist"}};

constexpr Example kGroupExamples[] = {{"roqutil gvar init 2", "create module 2"},
                                      {"roqutil gvar set 2:1 ppp0", "set its variable 1"},
                                      {"roqutil gvar get 2:1", "print it"},
                                      {"roqutil gvar check 2", "look for damage"}};

constexpr Command kCommands[] = {
    {.name = "init",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "create a module's segment, or find the existing one",
     .options = kInitOptions,
     .examples = kInitExamples,
     .run = gvar::run_init},
    {.name = "attach",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "attach a module at its fixed address, and show it",
     .options = kShowOptions,
     .examples = kAttachExamples,
     .run = gvar::run_attach},
    {.name = "show",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "print a module's header, semaphore and pool statistics",
     .options = kShowOptions,
     .examples = kShowExamples,
     .run = gvar::run_show},
    {.name = "set",
     .arguments = "ID [VALUE]",
     .minimum = 1,
     .maximum = 2,
     .summary = "set a variable",
     .options = kSetOptions,
     .examples = kSetExamples,
     .run = gvar::run_set},
    {.name = "get",
     .arguments = "ID",
     .minimum = 1,
     .maximum = 1,
     .summary = "print a variable",
     .details =
         "Bytes that are no printable characters appear as \\n, \\t or \\x00, a backslash as \\\\. "
         "In JSON the value is {\"text\": ..., \"hex\": ...}; the text is null when the bytes are no UTF-8 or hold "
         "a zero byte.",
     .options = kGetOptions,
     .examples = kGetExamples,
     .run = gvar::run_get},
    {.name = "list",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "list a module's variables, newest first",
     .options = kWaitAndJson,
     .examples = kListExamples,
     .run = gvar::run_list},
    {.name = "watch",
     .arguments = "ID",
     .minimum = 1,
     .maximum = 1,
     .summary = "print a line for a variable's value and for every change of it",
     .options = kWatchOptions,
     .examples = kWatchExamples,
     .run = gvar::run_watch},
    {.name = "delete",
     .arguments = "ID",
     .minimum = 1,
     .maximum = 1,
     .summary = "delete a variable, after telling what that does to the list",
     .details =
         "A deletion cuts the list behind the variable: newer variables disappear with it. Deleting the newest one "
         "ends the deleting process, and other deletions mostly do. The tool says what will happen, asks for "
         "--force, and deletes in a process of its own.",
     .options = kDeleteOptions,
     .examples = kDeleteExamples,
     .run = gvar::run_delete},
    {.name = "delete-module",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "remove a module's segment",
     .details = "Processes that have it attached keep their mapping. The semaphore set stays.",
     .options = kJsonOnly,
     .examples = kDeleteModuleExamples,
     .run = gvar::run_delete_module},
    {.name = "map",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "draw a module's pool: free, values, nodes, unlisted",
     .options = kMapOptions,
     .examples = kMapExamples,
     .run = gvar::run_map},
    {.name = "check",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "name every broken invariant of a module's segment",
     .details =
         "Exit code 0 when there is none, 1 when there is one. Blocks that no listed variable uses are counted, and "
         "are no damage: a deletion dropped them, or they are a module's own allocations. Notes are no damage, "
         "either: locking that is switched off, releases that failed, freed memory that was written to.",
     .options = kWaitAndJson,
     .examples = kCheckExamples,
     .run = gvar::run_check},
    {.name = "repair",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "make a damaged module usable again",
     .details =
         "Under the writer's lock, the header, the free list, the prevfree tags and the statistics are rebuilt from "
         "the block chain, and the variable list is cut in front of the first variable that cannot be proved. "
         "When the block chain itself is broken nothing is changed (exit code 1). Restart processes that hold "
         "addresses "
         "of values or buffers: what was cut or released may be used for something else.",
     .options = kRepairOptions,
     .examples = kRepairExamples,
     .run = gvar::run_repair},
    {.name = "bench",
     .arguments = "MODULE",
     .minimum = 1,
     .maximum = 1,
     .summary = "measure get and set in a module that is created for it and removed afterwards",
     .options = kBenchOptions,
     .examples = kBenchExamples,
     .run = gvar::run_bench},
};

} // namespace

const Group gvar_group{.name = "gvar",
                       .summary = "the store of variables that all processes share",
                       .details =
                           "MODULE is a number from 0 to 6. ID is MODULE:NUMBER, such as 2:1, or one number, such "
                           "as 0x00020001. Numbers are decimal, or hexadecimal behind 0x.",
                       .commands = kCommands,
                       .examples = kGroupExamples};

} // namespace roq::tool
