# Where everything goes on a controller (cmake --install), and the Debian package that puts it there (cpack -G DEB).

# A system daemon belongs to the system; this also gives Debian's own library folder and /etc.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Where to install" FORCE)
endif()
include(GNUInstallDirs)
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/esa)
set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(staged ${CMAKE_BINARY_DIR}/install)

# Debian packages are made of these; what names none is the adapter's.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME adapter)
set(package_of_adapter esa)
set(package_of_tools esa-tools)
set(package_of_simulator esa-simulator)
set(package_of_development esa-dev)
set(package_of_monitor esa-monitor)
set(component_of_msm tools)
set(component_of_esactl tools)
set(component_of_encsim simulator)
set(component_of_esamon monitor)

# component_of(NAME RESULT): the component that the program of this name is in.
function(component_of name result)
  if(NOT component_of_${name})
    set(component_of_${name} adapter)
  endif()
  set(${result} ${component_of_${name}} PARENT_SCOPE)
endfunction()

# install_programs(DESTINATION TARGET...): those of the programs that this build makes.
function(install_programs destination)
  foreach(program ${ARGN})
    if(TARGET ${program})
      # The loader finds the library of /usr by itself; below any other prefix the program says where it is.
      if(NOT CMAKE_INSTALL_PREFIX STREQUAL /usr)
        set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
      endif()
      component_of(${program} component)
      install(TARGETS ${program} RUNTIME DESTINATION ${destination} COMPONENT ${component})
    endif()
  endforeach()
endfunction()

# install_configured(SOURCE DESTINATION NAME): a file of packaging/ that names installed paths in @...@.
function(install_configured source destination name)
  configure_file(${packaging}/${source} ${staged}/${source} @ONLY)
  component_of(${name} component)
  install(FILES ${staged}/${source} DESTINATION ${destination} RENAME ${name} COMPONENT ${component})
endfunction()

# install_compressed(SOURCE DESTINATION COMPONENT [EXCLUDE_FROM_ALL]): the same bytes at every build, so without a time in
# the file.
function(install_compressed source destination component)
  cmake_path(GET source FILENAME name)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
  file(MAKE_DIRECTORY ${staged})
  execute_process(COMMAND gzip -9 -n -c ${source} OUTPUT_FILE ${staged}/${name}.gz COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${staged}/${name}.gz DESTINATION ${destination} COMPONENT ${component} ${ARGN})
endfunction()

install_programs(${CMAKE_INSTALL_SBINDIR} esa esafailsafe msm)
install_programs(${CMAKE_INSTALL_BINDIR} mpuparams esactl encsim)
install(TARGETS platform mpu
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/esa COMPONENT development
        FILES_MATCHING PATTERN *.h PATTERN *.def)
configure_file(${packaging}/esa.pc.in ${staged}/esa.pc @ONLY)
install(FILES ${staged}/esa.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# What the shells and the settings offer.
set(chassis_list ${PROJECT_SOURCE_DIR}/include/chassis_list.def)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${chassis_list})
file(STRINGS ${chassis_list} CHASSIS_NAMES REGEX "^CHASSIS\\(")
list(TRANSFORM CHASSIS_NAMES REPLACE "^CHASSIS\\([0-9]+, [^,]+, ([^,]+),.*" "\\1")
list(JOIN CHASSIS_NAMES " " CHASSIS_NAMES)

# What all units give up. It stands in one file and is written into each, since a unit cannot include a file.
file(READ ${packaging}/hardening.conf HARDENING)
string(STRIP "${HARDENING}" HARDENING)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${packaging}/hardening.conf)
install_configured(esa.service lib/systemd/system esa.service)
install_configured(esa-params.service lib/systemd/system esa-params.service)
configure_file(${packaging}/msm.service ${staged}/msm.service @ONLY)
install(FILES ${staged}/msm.service DESTINATION lib/systemd/system COMPONENT tools)
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
  install_compressed(${PROJECT_SOURCE_DIR}/docs/man/esamon.8 ${CMAKE_INSTALL_MANDIR}/man8 monitor EXCLUDE_FROM_ALL)
  if(ESA_PANEL)
    install(DIRECTORY ${CMAKE_BINARY_DIR}/panel DESTINATION ${CMAKE_INSTALL_DATADIR}/esa ${monitor})
  endif()
endif()

file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.[18])
list(FILTER pages EXCLUDE REGEX "/esamon") # goes with its program
foreach(page ${pages})
  string(REGEX REPLACE ".*\\." "" section ${page})
  cmake_path(GET page STEM program)
  component_of(${program} component)
  install_compressed(${page} ${CMAKE_INSTALL_MANDIR}/man${section} ${component})
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
    component_of(${PROGRAM} component)
    set(where COMPONENT ${component})
    if(component STREQUAL "monitor")
      set(where ${monitor})
    endif()
    if(TARGET ${PROGRAM})
      install(FILES ${made} DESTINATION ${completion_place_${shell}} RENAME ${name_${shell}} ${where})
    endif()
  endforeach()
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${doc_dir})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${doc_dir}/docs FILES_MATCHING PATTERN *.md PATTERN *.png
  PATTERN *.yaml PATTERN *.json PATTERN man EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${doc_dir})

# The product's controller gets one package. Elsewhere each part is one of its own.
set(components adapter tools simulator development)
if(TARGET esamon)
  list(APPEND components monitor)
endif()
if(CMAKE_CROSSCOMPILING)
  set(documented adapter)
else()
  set(documented ${components})
endif()
foreach(component ${documented})
  set(where ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package_of_${component}})
  set(how COMPONENT ${component})
  if(component STREQUAL "monitor")
    set(how ${monitor})
  endif()
  install(FILES ${packaging}/debian/copyright DESTINATION ${where} ${how})
  list(SUBLIST how 1 -1 how_compressed)
  install_compressed(${packaging}/debian/changelog ${where} ${how_compressed})
  set(overrides ${packaging}/debian/${package_of_${component}}.lintian-overrides)
  if(EXISTS ${overrides})
    install(FILES ${overrides} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
            RENAME ${package_of_${component}} ${how})
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_NAME esa)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Enclosure services maintainers <maintainers@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(about
"Owns the disk enclosure of a storage controller: reads fans, temperatures and
supply voltages over I2C, drives fan speeds, fault LEDs and the audible alarm,
answers SCSI Enclosure Services pages and reports events to its peers.")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "${about}")
# With build/... configured with -DESA_SYMBOLS=ON the symbols are in packages of their own; without, there are none.
if(ESA_SYMBOLS)
  set(CPACK_STRIP_FILES OFF)
else()
  set(CPACK_STRIP_FILES ON)
endif()

# debian_component(COMPONENT SECTION SUMMARY TEXT [DEPENDS])
function(debian_component component section summary text)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package_of_${component}} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  if(ARGN)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${ARGN}" PARENT_SCOPE)
  endif()
  set(control)
  foreach(file conffiles preinst postinst prerm postrm triggers)
    set(made ${packaging}/debian/${component}/${file})
    if(EXISTS ${made})
      list(APPEND control ${made})
    endif()
  endforeach()
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${control} PARENT_SCOPE)
  if(ESA_SYMBOLS AND NOT component STREQUAL development)
    set(CPACK_DEBIAN_${upper}_DEBUGINFO_PACKAGE ON PARENT_SCOPE)
  endif()
endfunction()

if(NOT CMAKE_CROSSCOMPILING)
  # Put before the first line of every part's own description, which has its synopsis already.
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL ${components})
  set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
  debian_component(adapter admin "enclosure services adapter of a storage controller" "${about}")
  debian_component(tools admin "operator's command line and message switch of the enclosure services adapter"
"Asks the enclosure services adapter for the state of its enclosure, switches
LEDs, fans and the alarm, and follows its events. The message switch serves
where a controller has none of its own." "esa (= ${PROJECT_VERSION})")
  debian_component(simulator admin "simulated disk enclosures for the enclosure services adapter"
"Models of the chips, wiring and physics of five disk enclosures, behind a
serial I2C bridge or as the I2C bus of a virtual machine.")
  debian_component(development libdevel "headers and libraries of the storage controller's management processes"
"Message formats, runtime library and platform library for whoever writes a
peer of the enclosure services adapter." "esa (= ${PROJECT_VERSION})")
  debian_component(monitor admin "monitor of the enclosure services adapter"
"Records what happens to the enclosure and tells it over HTTP: history, metrics
and a front panel." "esa-tools (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_ADAPTER_PACKAGE_RECOMMENDS "esa-tools")
  # Programs of other packages that link the library depend on this package.
  set(CPACK_DEBIAN_ADAPTER_PACKAGE_GENERATE_SHLIBS ON)
endif()
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
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA)
foreach(file conffiles preinst postinst prerm postrm triggers)
  # Of one package for all; a part without scripts of its own would get them too.
  if(CMAKE_CROSSCOMPILING AND EXISTS ${packaging}/debian/adapter/${file})
    list(APPEND CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${packaging}/debian/adapter/${file})
  endif()
endforeach()
include(CPack)
