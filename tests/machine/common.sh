# shellcheck shell=bash disable=SC2154 # what is set where this is sourced
# What the scripts of both machines share; sourced by them.

cache=${XDG_CACHE_HOME:-$HOME/.cache}/roqutil

fail() {
  echo "machine: $1" >&2
  exit 1
}

# $@: tool:package.
require_tools() {
  local tool
  for tool in "$@"; do
    command -v "${tool%%:*}" >/dev/null || fail "${tool%%:*} is missing: install ${tool#*:}"
  done
}

# From here on until the script ends, or until it closes descriptor 9, no other one fills the cache.
lock_cache() {
  mkdir -p "$cache"
  exec 9>"$cache/lock"
  flock 9
}

# $1: folder with everything in it, $2: its place in the cache, where it appears at once or not at all.
move_into_cache() {
  rm -rf "$2.unfinished"
  cp -r "$1" "$2.unfinished"
  mv -T "$2.unfinished" "$2"
}

# $1: the machine's root folder, $2: the file.
pack_root() {
  (cd "$1" && find . | cpio --quiet -o -H newc -R 0:0) >"$2"
}

# $1: time limit in seconds, then the emulator and its arguments. Prints what the machine said between its start and its
# verdict, and succeeds when that is "passed". A machine without a verdict, because it hangs or its kernel panics, fails.
boot() {
  local limit=$1 said=$work/said code=0
  shift
  timeout -k 5 "$limit" "$@" </dev/null 2>&1 | tr -d '\r' >"$said" || code=$?
  sed -n '/^machine: booted/,/^machine: \(passed\|failed\)$/p' "$said"
  grep -qx 'machine: passed' "$said" && return
  grep -q '^machine: booted' "$said" || cat -v "$said" >&2
  [ $code = 0 ] || fail "the machine did not come to its end within $limit s"
  grep -qx 'machine: failed' "$said" || fail "the machine ended without a verdict"
  fail "the programs did not pass"
}
