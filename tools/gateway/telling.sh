# What the steps of the story are told with. Every line fits into 100 columns.
# shellcheck shell=bash

clear_line="" bold="" green="" red="" plain=""
if [ -t 1 ]; then
  clear_line=$'\r\e[K'
  if [ -z "${NO_COLOR-}" ] && [ "${TERM-dumb}" != dumb ]; then
    bold=$'\e[1m' green=$'\e[32m' red=$'\e[31m' plain=$'\e[0m'
  fi
fi

# Some sentences of the story.
says() { fold -s -w 96 <<<"$*" | sed "s/^/$clear_line   /; s/ *\$//"; }

# The library calls behind what follows.
library() { printf '%s   library: %s\n' "$clear_line" "$*"; }

# Shows a command and what it prints; its result is the command's.
run() {
  printf '%s%s $ %s%s\n' "$clear_line" "$bold" "$*" "$plain"
  "$@" 2>&1 | fold -s -w 99 | sed "s/^/$clear_line /"
}

# Says whether something holds. $1: a statement, then the command that is to succeed; if it does not, the step fails.
holds() {
  local statement=$1
  shift
  if "$@"; then
    printf '%s %sok%s      %s\n' "$clear_line" "$green" "$plain" "$statement"
  else
    printf '%s %sFAILED%s  %s\n' "$clear_line" "$red" "$plain" "$statement"
    return 1
  fi
}

# Shows and does it; a background child of this shell is collected.
kill_at_once() {
  printf '%s%s $ kill -KILL %s%s\n' "$clear_line" "$bold" "$1" "$plain"
  { kill -KILL "$1" && wait "$1"; } 2>/dev/null || true
}

# $1: seconds; the command is to succeed within them.
within() {
  local ends=$((SECONDS + $1 + 1))
  shift
  until "$@"; do
    [ "$SECONDS" -lt "$ends" ] || return 1
    sleep 0.05
  done
}

# $1: name of a variable, $2: its text.
is_set_to() { [ "$(setting "$1")" = "$2" ]; }

# $1: module, $2: whether of the lock's 10 units so many are free.
units_free_are() { roqutil gvar show "$1" --wait 0 | grep -q " $2 of 10 units free"; }
