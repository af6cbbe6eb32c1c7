# Installation layout and the Debian package.
#
#   sbin/InitMemContext, bin/pins10                 the tools (their own CMakeLists)
#   share/man/man8/InitMemContext.8, man1/pins10.1  their manual pages (same)
#   share/doc/initmemcontext/                       README.md and docs/*.md
#   share/bash-completion/completions/              one completion file, under each tool's name
#   lib/systemd/system/initmemcontext.service       the boot unit
#
# `cmake --build BUILD --target package` makes initmemcontext_<version>_<arch>.deb in BUILD; its
# version is the project's, the one pins10 --version prints.
include(GNUInstallDirs)

set(QEL_PACKAGE_NAME initmemcontext)
set(QEL_PACKAGING_DIR ${PROJECT_SOURCE_DIR}/packaging)
set(QEL_SYSTEMD_UNITDIR lib/systemd/system CACHE STRING "Where the boot unit goes, relative to the prefix")
set(QEL_PACKAGE_MAINTAINER "InitMemContext maintainers <root@localhost>"
    CACHE STRING "Maintainer field of the Debian package")

file(GLOB QEL_DOCS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES README.md ${QEL_DOCS} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${QEL_PACKAGE_NAME})

foreach(tool InitMemContext pins10)
  install(FILES ${QEL_PACKAGING_DIR}/initmemcontext.bash-completion
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME ${tool})
endforeach()

# The unit names the tool by its installed path, which is known only when installing: a plain
# `cmake --install` uses the configured prefix or --prefix, the package /usr. So the unit is
# written then, from the prefix of that installation.
install(CODE "
  set(QEL_UNIT_SBINDIR \"${CMAKE_INSTALL_SBINDIR}\")
  if(NOT IS_ABSOLUTE \"\${QEL_UNIT_SBINDIR}\")
    set(QEL_UNIT_SBINDIR \"\${CMAKE_INSTALL_PREFIX}/\${QEL_UNIT_SBINDIR}\")
  endif()
  configure_file(\"${QEL_PACKAGING_DIR}/initmemcontext.service.in\"
                 \"${PROJECT_BINARY_DIR}/packaging/initmemcontext.service\" @ONLY)
  file(INSTALL \"${PROJECT_BINARY_DIR}/packaging/initmemcontext.service\"
       DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${QEL_SYSTEMD_UNITDIR}\"
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${QEL_PACKAGE_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "initialises the clocks and memory of PCI Express video-processing boards")
set(CPACK_PACKAGE_DESCRIPTION "InitMemContext finds the boards on the PCI bus and, for each one, \
reads its parameter block from the board's EEPROM, resets its chip, programs its clocks, trains and \
tests its DDR memory. A systemd unit runs it at every boot, before the boards' video driver loads. \
pins10 inspects, checks, builds and combines parameter blocks.")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${QEL_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Installing into DESTDIR keeps CMAKE_INSTALL_PREFIX at /usr while the package is staged, so the
# unit written at install time names /usr/sbin/InitMemContext.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CPACK_PACKAGING_INSTALL_PREFIX})
# The tool loads libpci only when it reads the real bus, so the shared-library scan does not
# see it: the dependency is named here, the scan adds the rest.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libpci${QEL_LIBPCI_ABI}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${QEL_PACKAGING_DIR}/postinst ${QEL_PACKAGING_DIR}/prerm ${QEL_PACKAGING_DIR}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
