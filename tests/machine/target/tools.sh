# shellcheck shell=bash disable=SC2154 # what is set where this is sourced
# How the tools are built that the target machine has besides the library; sourced by ./build.

# Source packages. The gateway's shell and small tools, and what the tests compare the library with.
tool_packages=(busybox iproute2 iptables dnsmasq)

# $1: folder for the results.
build_all_tools() {
  local package
  for package in "${tool_packages[@]}"; do "build_$package" "$package" "$1"; done
  "$target-strip" "$1/ip" "$1/iptables" "$1/dnsmasq"
}

make_quietly() { nice make -j "$(nproc)" "$@"; }

# Static, so that it runs whatever libraries are there. Its shell looks for tools on the path instead of in itself, as
# those of gateways do.
build_busybox() {
  local prefix='CONFIG_CROSS_COMPILER_PREFIX'
  sed -e '/CONFIG_FEATURE_SH_STANDALONE=/d' -e '/CONFIG_FEATURE_PREFER_APPLETS=/d' -e "/$prefix=/d" \
    "$1/debian/config/pkg/static" >"$1/.config"
  echo "$prefix=\"$target-\"" >>"$1/.config"
  # Without an answer an option is left out that has no default.
  make_quietly -C "$1" oldconfig < <(yes n)
  make_quietly -C "$1" busybox busybox.links
  cp "$1/busybox" "$1/busybox.links" "$2"
}

# No optional libraries: those of this machine are of another kind.
build_iproute2() {
  (cd "$1" && PKG_CONFIG=false CC="$target-gcc" AR="$target-ar" ./configure)
  make_quietly -C "$1" SUBDIRS="lib ip" CC="$target-gcc" AR="$target-ar" HOSTCC=gcc
  cp "$1/ip/ip" "$2"
}

build_iptables() {
  (cd "$1" && ./configure --host="$target" --prefix=/usr --disable-shared --enable-static --disable-nftables \
    PKG_CONFIG=false)
  make_quietly -C "$1"
  cp "$1/iptables/xtables-legacy-multi" "$2/iptables"
}

build_dnsmasq() {
  make_quietly -C "$1" CC="$target-gcc"
  cp "$1/src/dnsmasq" "$2"
}
