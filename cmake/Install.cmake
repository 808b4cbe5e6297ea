# Where everything goes on a controller (cmake --install), and the Debian package that puts it there (cpack -G DEB).

# A system daemon belongs to the system; this also gives Debian's own library folder and /etc.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Where to install" FORCE)
endif()
include(GNUInstallDirs)
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/esa)
set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(staged ${CMAKE_BINARY_DIR}/install)

# install_programs(DESTINATION TARGET...): those of the programs that this build makes.
function(install_programs destination)
  foreach(program ${ARGN})
    if(TARGET ${program})
      # The loader finds the library of /usr by itself; below any other prefix the program says where it is.
      if(NOT CMAKE_INSTALL_PREFIX STREQUAL /usr)
        set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
      endif()
      install(TARGETS ${program} RUNTIME DESTINATION ${destination})
    endif()
  endforeach()
endfunction()

# install_configured(SOURCE DESTINATION NAME): a file of packaging/ that names installed paths in @...@.
function(install_configured source destination name)
  configure_file(${packaging}/${source} ${staged}/${source} @ONLY)
  install(FILES ${staged}/${source} DESTINATION ${destination} RENAME ${name})
endfunction()

# install_compressed(SOURCE DESTINATION [NAME]): the same bytes at every build, so without a time in the file.
function(install_compressed source destination)
  cmake_path(GET source FILENAME name)
  if(ARGN)
    set(name ${ARGN})
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
  file(MAKE_DIRECTORY ${staged})
  execute_process(COMMAND gzip -9 -n -c ${source} OUTPUT_FILE ${staged}/${name}.gz COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${staged}/${name}.gz DESTINATION ${destination})
endfunction()

install_programs(${CMAKE_INSTALL_SBINDIR} esa esafailsafe msm)
install_programs(${CMAKE_INSTALL_BINDIR} mpuparams esactl encsim)
install(TARGETS platform mpu
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/esa FILES_MATCHING
        PATTERN *.h PATTERN *.def)

# What all units give up. It stands in one file and is written into each, since a unit cannot include a file.
file(READ ${packaging}/hardening.conf HARDENING)
string(STRIP "${HARDENING}" HARDENING)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${packaging}/hardening.conf)
install_configured(esa.service lib/systemd/system esa.service)
install_configured(esa-params.service lib/systemd/system esa-params.service)
install_configured(msm.service lib/systemd/system msm.service)
install_configured(esa.default ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default esa)
install_configured(mpu.conf ${CMAKE_INSTALL_FULL_SYSCONFDIR}/esa mpu.conf)
configure_file(${packaging}/esa-prepare ${staged}/esa-prepare @ONLY)
install(PROGRAMS ${staged}/esa-prepare DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/esa)
configure_file(${packaging}/esa-foreground ${staged}/esa-foreground @ONLY)
install(PROGRAMS ${staged}/esa-foreground DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(FILES ${packaging}/60-esa.rules DESTINATION lib/udev/rules.d)
install(FILES ${packaging}/esa.modules-load.conf DESTINATION lib/modules-load.d RENAME esa.conf)
install(FILES ${packaging}/esa.tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME esa.conf)
install(FILES ${packaging}/esa.sysusers.conf DESTINATION lib/sysusers.d RENAME esa.conf)

# The monitor is a package of its own: a controller that nobody asks over HTTP needs neither it nor its libraries.
# cmake --install BUILD --component monitor
if(TARGET esamon)
  set(monitor COMPONENT monitor EXCLUDE_FROM_ALL)
  install(TARGETS esamon RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} ${monitor})
  configure_file(${packaging}/esamon.service ${staged}/esamon.service @ONLY)
  install(FILES ${staged}/esamon.service DESTINATION lib/systemd/system ${monitor})
  configure_file(${packaging}/esamon.msm.conf ${staged}/esamon.msm.conf @ONLY)
  install(FILES ${staged}/esamon.msm.conf DESTINATION lib/systemd/system/msm.service.d RENAME esamon.conf ${monitor})
  install(FILES ${packaging}/esamon.tmpfiles.conf DESTINATION lib/tmpfiles.d RENAME esamon.conf ${monitor})
  install(FILES ${packaging}/esamon.default DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default RENAME esamon ${monitor})
  install(FILES ${packaging}/esamon.sysusers.conf DESTINATION lib/sysusers.d RENAME esamon.conf ${monitor})
endif()

file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.[18])
foreach(page ${pages})
  string(REGEX REPLACE ".*\\." "" section ${page})
  install_compressed(${page} ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()

# What a program may be given it knows itself; the shells only ask it.
set(completion_place_bash ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
set(completion_place_zsh ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
set(completion_place_fish ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
foreach(PROGRAM esactl mpuparams esamon msm encsim esafailsafe)
  foreach(shell bash zsh fish)
    set(written ${packaging}/completion/${PROGRAM}.${shell})
    if(NOT EXISTS ${written})
      set(written ${packaging}/completion/asking.${shell}.in)
    endif()
    set(made ${staged}/completion/${PROGRAM}.${shell})
    configure_file(${written} ${made} @ONLY)
    set(name_bash ${PROGRAM})
    set(name_zsh _${PROGRAM})
    set(name_fish ${PROGRAM}.fish)
    if(TARGET ${PROGRAM})
      install(FILES ${made} DESTINATION ${completion_place_${shell}} RENAME ${name_${shell}})
    endif()
  endforeach()
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${packaging}/debian/copyright DESTINATION ${doc_dir})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${doc_dir}/docs FILES_MATCHING PATTERN *.md PATTERN man EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${doc_dir})
install_compressed(${packaging}/debian/changelog ${doc_dir})

set(CPACK_GENERATOR DEB)
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_NAME esa)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Enclosure services maintainers <maintainers@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Owns the disk enclosure of a storage controller: reads fans, temperatures and
supply voltages over I2C, drives fan speeds, fault LEDs and the audible alarm,
answers SCSI Enclosure Services pages and reports events to its peers.
.
With it come the operator's command line, a development message switch and an
enclosure simulator.")
# The processor that the programs are for; the library's dependencies can be looked up on that kind of system only.
if(CMAKE_CROSSCOMPILING)
  # A system without Debian's package manager unpacks the tar file at its root.
  list(APPEND CPACK_GENERATOR TGZ)
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}_${PROJECT_VERSION}_${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # The package's own library is nobody's dependency.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/libs/platform)
endif()
# Programs of other packages that link the library depend on this package.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${packaging}/debian/conffiles ${packaging}/debian/postinst ${packaging}/debian/prerm ${packaging}/debian/postrm
  ${packaging}/debian/triggers)
include(CPack)
