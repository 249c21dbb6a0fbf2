SUMMARY = "Common toolbox of a home gateway"
DESCRIPTION = "Named values in shared memory, process control, a DNS client, validators, network and system \
information and string helpers for the management processes of a home gateway."
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=61082646075e6f0777648468292696b6"

inherit cmake externalsrc pkgconfig

# The checkout that this layer is part of.
EXTERNALSRC := "${@os.path.realpath(d.getVar('THISDIR') + '/../../../../..')}"
EXTERNALSRC_BUILD = "${WORKDIR}/build"

# platform: the gateway's own kernel, so_mark: a mainline one
ROQ_QOS_MARK ?= "so_mark"
# ON: the processor is a MIPS with compressed instructions (MIPS16e), which make the library a quarter smaller
ROQ_MIPS16 ?= "OFF"
# The platform's own message-bus library; empty builds the stand-in.
ROQ_PLATFORM_BUS ?= ""

EXTRA_OECMAKE = "\
    -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DCMAKE_SKIP_RPATH=ON \
    -DROQ_BUILD_TESTS=OFF \
    -DROQ_WARNINGS_AS_ERRORS=OFF \
    -DROQ_MIPS16=${ROQ_MIPS16} \
    -DROQ_QOS_MARK=${ROQ_QOS_MARK} \
    -DROQ_PLATFORM_BUS=${ROQ_PLATFORM_BUS} \
"

# The staging folder is put in front of every path by Yocto's own pkg-config.
do_install:append() {
    sed -i 's,^prefix=.*,prefix=${prefix},' ${D}${libdir}/pkgconfig/*.pc
}

PACKAGES =+ "libroqutil libroqmsg"
FILES:libroqutil = "${libdir}/libroqutil.so.*"
FILES:libroqmsg = "${libdir}/libroqmsg.so.*"
