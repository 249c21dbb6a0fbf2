#!/bin/sh
# Traces the program given and shows that each access takes three system calls: one to see that the segment still
# exists, one to lock, one to unlock; and that asking for a pool handle takes one.
set -eu
trace=$(mktemp)
trap 'rm -f "$trace"' EXIT
strace -o "$trace" "$1"

# The names of the calls, one line for what stands between two marks; a shmctl is called by its command.
calls=$(sed -n -e 's/^shmctl(.*\(SHM_STAT\|SHM_INFO\).*/\1/p; t' -e 's/^\([a-z0-9_]*\)(.*/\1/p' "$trace" | awk '
  $1 == "getppid" { if (marks++) print line; line = ""; next }
  { line = line (line == "" ? "" : " ") $1 }')
access="SHM_STAT semop semop"
expected=$(printf '%s\n' "$access" "$access" "$access" "$access" SHM_STAT)
# A 32-bit program locks with a call that could also limit the time.
calls=$(printf '%s\n' "$calls" | sed 's/semtimedop_time64/semop/g; s/semtimedop/semop/g')
if [ "$calls" != "$expected" ]; then
  printf 'expected these system calls:\n%s\ngot:\n%s\n' "$expected" "$calls" >&2
  exit 1
fi
echo "each access takes: $access"
