################################################################################
#
# qv
#
################################################################################

QV_VERSION = 0.1.0
QV_SOURCE = qv-$(QV_VERSION).tar.gz
# There is no release yet. The source tarball lies beside this file until the
# owner names the place to load it from.
QV_SITE = file://$(TOPDIR)/package/qv
# No licence has been chosen yet; until the owner does, all rights are his.
QV_LICENSE = PROPRIETARY
QV_LICENSE_FILES = packaging/debian/copyright
QV_REDISTRIBUTE = NO

QV_CONF_OPTS = -DQV_TESTS=OFF -DQV_BENCH=OFF

$(eval $(cmake-package))
