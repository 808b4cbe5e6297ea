# Compiling for compile time, as tests and `./run` do it: several sources at a time, since their headers and templates are
# most of what there is to compile. ESA_QUICKLY lists what is compiled so; what is shipped is not.
#   firmware  what runs on the controller; optimised as ever
#   tools     tools and simulator; they share one precompiled header, and g++ makes somewhat slower code in half the time
#   tests     see tests/CMakeLists.txt
#   reading   nothing: checks that only read the sources find most of the tools' as one source, and of the simulator's

# esa_compile_together(TARGET...): all sources of each at a time.
function(esa_compile_together)
  foreach(target ${ARGN})
    if(NOT TARGET ${target})
      continue()
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
    # Alike names: wiring of enclosures, how segments and buses are begun. Tests bring their own sleep.
    get_target_property(sources ${target} SOURCES)
    get_target_property(folder ${target} SOURCE_DIR)
    list(FILTER sources INCLUDE REGEX "(^|/)enclosures/|/(cmap_params|i2c_dev|mpu_sleep)[.]cpp$")
    foreach(source ${sources})
      cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder})
      set_source_files_properties(${source} TARGET_DIRECTORY ${target} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    endforeach()
  endforeach()
endfunction()

# esa_compile_little(TARGET...): with one precompiled header for all, and by g++ with little optimisation.
function(esa_compile_little)
  file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/empty.cpp CONTENT "")
  add_library(esa_tool_headers OBJECT EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/empty.cpp)
  target_link_libraries(esa_tool_headers PRIVATE esa_warnings)
  target_precompile_headers(esa_tool_headers PRIVATE <algorithm> <array> <charconv> <chrono> <deque> <filesystem>
    <fstream> <functional> <map> <memory> <optional> <set> <span> <sstream> <string> <string_view> <variant> <vector>)
  foreach(target esa_tool_headers ${ARGN})
    if(NOT TARGET ${target})
      continue()
    endif()
    if(NOT target STREQUAL esa_tool_headers)
      target_precompile_headers(${target} REUSE_FROM esa_tool_headers)
    endif()
    # A program would be position-independent otherwise than a library, and the header of neither fits the other.
    target_compile_options(${target} PRIVATE -fPIC)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
      target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-Og>)
    endif()
  endforeach()
endfunction()

if("firmware" IN_LIST ESA_QUICKLY)
  esa_compile_together(mpu platform_objects esa_objects esafailsafe_objects)
endif()
if("tools" IN_LIST ESA_QUICKLY)
  esa_compile_together(tools peer mpuparams_objects msm_objects esactl_objects esamon_objects encsim_model encsim)
  esa_compile_little(tools peer mpuparams_objects mpuparams msm_objects msm esactl_objects esactl esamon_objects esamon
    encsim_model encsim)
endif()

# esa_read_together(NAME TARGET...): one source of the targets' sources, which is never built, in their place among the
# compile commands.
function(esa_read_together name)
  add_library(${name} OBJECT EXCLUDE_FROM_ALL)
  foreach(target ${ARGN})
    get_target_property(sources ${target} SOURCES)
    get_target_property(folder ${target} SOURCE_DIR)
    foreach(source ${sources})
      cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder})
      target_sources(${name} PRIVATE ${source})
      if(source MATCHES "/enclosures/") # one is made of another's copy
        set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
      endif()
    endforeach()
    target_include_directories(${name} PRIVATE ${folder} $<TARGET_PROPERTY:${target},INCLUDE_DIRECTORIES>)
    target_compile_definitions(${name} PRIVATE $<TARGET_PROPERTY:${target},COMPILE_DEFINITIONS>)
    set_target_properties(${target} PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
  endforeach()
  target_link_libraries(${name} PRIVATE esa_warnings)
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
endfunction()

if("reading" IN_LIST ESA_QUICKLY)
  esa_read_together(tools_reading tools peer esactl_objects esamon_objects mpuparams_objects msm_objects)
  esa_read_together(encsim_reading encsim_model encsim)
endif()
