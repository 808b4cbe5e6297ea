# How everything that is shipped is compiled and linked: position-independent, with guarded stacks and buffers and
# read-only relocations, and the same bytes whichever folder it is built in.

include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(ESA_SYMBOLS)
  add_compile_options(-g)
endif()

# File names in the programs and in their debugging information are the tree's.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
# A program finds the library of its own build by a path that does not name the folder of the build.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

if(ESA_HARDENING)
  # Checked buffer functions need an optimising compiler.
  add_compile_options(-fstack-protector-strong
    "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
endif()
