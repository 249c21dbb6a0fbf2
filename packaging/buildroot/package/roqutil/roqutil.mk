################################################################################
#
# roqutil
#
################################################################################

ROQUTIL_VERSION = 1.0.0
# The checkout that this folder is part of; not downloaded, so there is no hash of it.
ROQUTIL_SITE = $(realpath $(BR2_EXTERNAL_ROQUTIL_PATH)/../..)
ROQUTIL_SITE_METHOD = local
ROQUTIL_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude /build
ROQUTIL_LICENSE = MIT
ROQUTIL_LICENSE_FILES = LICENSE
ROQUTIL_INSTALL_STAGING = YES
ROQUTIL_SUPPORTS_IN_SOURCE_BUILD = NO

ROQUTIL_CONF_OPTS = \
	-DCMAKE_BUILD_TYPE=MinSizeRel \
	-DCMAKE_SKIP_RPATH=ON \
	-DROQ_BUILD_TESTS=OFF \
	-DROQ_WARNINGS_AS_ERRORS=OFF \
	-DROQ_BUILD_TOOLS=$(if $(BR2_PACKAGE_ROQUTIL_COMMAND),ON,OFF) \
	-DROQ_PLATFORM_BUS=$(call qstrip,$(BR2_PACKAGE_ROQUTIL_PLATFORM_BUS)) \
	-DROQ_MIPS16=$(if $(BR2_PACKAGE_ROQUTIL_MIPS16),ON,OFF) \
	-DROQ_QOS_MARK=$(if $(BR2_PACKAGE_ROQUTIL_PLATFORM_KERNEL),platform,so_mark)

$(eval $(cmake-package))
