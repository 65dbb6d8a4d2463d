# Compiler settings shared by every target of the tree.
find_package(Threads REQUIRED)

set(KY_WARNINGS -Wall -Wextra)
if(KY_WERROR)
  list(APPEND KY_WARNINGS -Werror)
endif()

# Sanitizers go on every target, libraries included, so the shared objects
# are instrumented as well as the tests that drive them.
if(KY_SANITIZE)
  add_compile_options(-fsanitize=${KY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KY_SANITIZE})
endif()

# Library targets: hidden by default, exported through KY_API, guarded by a
# version script, SONAME from the major version.
function(ky_library_settings target map)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_options(${target} PRIVATE ${KY_WARNINGS})
  set_target_properties(${target} PROPERTIES
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${map})
  target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
  # clang does not link its sanitizer runtimes into shared objects; the
  # executable supplies them, so undefined symbols are allowed there.
  if(NOT KY_SANITIZE OR CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_link_options(${target} PRIVATE "LINKER:--no-undefined")
  endif()
endfunction()

# libFuzzer builds: the libraries carry coverage instrumentation too, so the
# fuzzer is guided by the paths taken inside them, not only in the target.
if(KY_BUILD_FUZZ AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
