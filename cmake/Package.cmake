# `cpack -G DEB` in the build folder makes quillmere_<version>_<arch>.deb from the
# install rules. Its dependencies come from the programs' shared libraries
# (dpkg-shlibdeps), so it installs with apt on the Debian release it was built on.
set(CPACK_PACKAGE_NAME quillmere)
set(CPACK_PACKAGE_VENDOR "Quillmere")
set(CPACK_PACKAGE_CONTACT "Quillmere developers <quillmere@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "System monitor that explains what it sees, warns and remembers")
set(CPACK_PACKAGE_DESCRIPTION
    "Quillmere watches the whole machine and every process, groups processes under the\n app that owns them, explains what each is, warns about runaway CPU, memory growth,\n pressure and heat, and keeps a minute-by-minute history on the machine.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_GENERATOR DEB)
# The programs find their data below the prefix they were built for: build the
# package with -DCMAKE_INSTALL_PREFIX=/usr (scripts/make-deb.sh does).
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "systemd")
set(CPACK_STRIP_FILES ON)
include(CPack)
