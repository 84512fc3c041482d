################################################################################
#
# platform-adaptation
#
################################################################################

# The package is part of the source tree, so Buildroot downloads nothing and checks no hash.
# Usage: make BR2_EXTERNAL=PROJECT/packaging/buildroot menuconfig
PLATFORM_ADAPTATION_VERSION = 1.0.0
PLATFORM_ADAPTATION_SITE = $(BR2_EXTERNAL_PLATFORM_ADAPTATION_PATH)/../..
PLATFORM_ADAPTATION_SITE_METHOD = local
PLATFORM_ADAPTATION_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude build --exclude out
PLATFORM_ADAPTATION_LICENSE = PROPRIETARY
PLATFORM_ADAPTATION_REDISTRIBUTE = NO
PLATFORM_ADAPTATION_INSTALL_STAGING = YES
PLATFORM_ADAPTATION_DEPENDENCIES = boost
PLATFORM_ADAPTATION_CONF_OPTS = \
	-DCMAKE_BUILD_TYPE=MinSizeRel \
	-DPLATFORM_SDK=$(call qstrip,$(BR2_PACKAGE_PLATFORM_ADAPTATION_SDK)) \
	-DPLATFORM_ADAPTER=$(call qstrip,$(BR2_PACKAGE_PLATFORM_ADAPTATION_ADAPTER)) \
	-DPLATFORM_ADAPTATION_TOOLS=OFF \
	-DBUILD_TESTING=OFF

ifeq ($(BR2_PACKAGE_PLATFORM_ADAPTATION)$(BR_BUILDING),yy)
ifeq ($(call qstrip,$(BR2_PACKAGE_PLATFORM_ADAPTATION_SDK)),)
$(error Set BR2_PACKAGE_PLATFORM_ADAPTATION_SDK to the folder of the platform's headers and libraries)
endif
endif

$(eval $(cmake-package))
