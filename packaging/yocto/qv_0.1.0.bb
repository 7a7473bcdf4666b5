# Not run in bitbake yet: read by a parser of the tests only.
SUMMARY = "Test tool for CAN buses"
DESCRIPTION = "Put one node on each end of a CAN bus: one answers every frame with a \
complemented copy, one sends a self-checking counter pattern, one just reads. qvcancheck judges the pattern."
# Stands for the one that the owner names.
HOMEPAGE = "https://example.org/qv"
SECTION = "console/network"

# No licence has been chosen yet; until the owner does, all rights are his.
LICENSE = "CLOSED"

# There is no release yet: the source tarball lies in the folder qv beside this
# recipe until the owner names the place to load it from, and its sha256sum.
SRC_URI = "file://qv-${PV}.tar.gz"

DEPENDS = "nlohmann-json"

inherit cmake bash-completion

EXTRA_OECMAKE = "-DQV_TESTS=OFF -DQV_BENCH=OFF -DQV_PLOT=OFF"

# bash-completion.bbclass makes the package for bash.
PACKAGES =+ "${PN}-zsh-completion"
FILES:${PN}-zsh-completion = "${datadir}/zsh"

# ip sets the interface up; the modules are the kernel's, where it has any.
RRECOMMENDS:${PN} = "iproute2-ip kernel-module-can kernel-module-can-raw"
