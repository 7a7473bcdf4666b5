# Not run in Buildroot yet: read by make only.
################################################################################
#
# qv
#
################################################################################

QV_VERSION = 0.1.0
QV_SOURCE = qv-$(QV_VERSION).tar.gz
# There is no release yet. The source tarball lies beside this file, in
# Buildroot's tree or in one of BR2_EXTERNAL, until the owner names the place to
# load it from.
QV_SITE := file://$(realpath $(dir $(lastword $(MAKEFILE_LIST))))
# No licence has been chosen yet; until the owner does, all rights are his.
QV_LICENSE = PROPRIETARY
QV_LICENSE_FILES = packaging/debian/copyright
QV_REDISTRIBUTE = NO

QV_DEPENDENCIES = json-for-modern-cpp
QV_CONF_OPTS = -DQV_TESTS=OFF -DQV_BENCH=OFF -DQV_PLOT=OFF

$(eval $(cmake-package))
