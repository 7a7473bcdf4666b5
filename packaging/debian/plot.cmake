# The control fields of qv-plot: the same files on every architecture.
set(CPACK_PACKAGE_NAME qv-plot)
set(CPACK_DEBIAN_PACKAGE_NAME qv-plot)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3 (>= 3.10), python3-matplotlib (>= 3.6)")
# A window needs it; files do not.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS python3-tk)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS qv)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "draws what a check of a CAN bus has told")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"qvcancheck-plot reads what qvcancheck --json writes, and draws frames a
second, findings, gaps and round trips of one or several runs on one page:
in a window, or as SVG, PNG or PDF.
.
It runs on the desk; qvcancheck, in the package qv, runs on the board.")
