# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# The two functions every directory uses: zyr_add_library() for the shared
# libraries and zyr_add_test() for the one-executable-per-class tests.

set(ZYR_EXPORT_TARGETS "" CACHE INTERNAL "")

# Compile options shared by libraries, tests and tools.
function(zyr_apply_build_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(ZYR_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(ZYR_SANITIZE)
    list(JOIN ZYR_SANITIZE "," _san)
    target_compile_options(${target} PRIVATE -fsanitize=${_san} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(${target} PRIVATE -fsanitize=${_san})
  endif()
endfunction()

# zyr_add_library(<Name> SOURCES ... [PUBLIC_LIBS ...] [PRIVATE_LIBS ...])
# Makes the shared library <Name> with the alias ZYR::<Name>, a generated
# export header <Name>/<name>_export.h and Qt's strict string defines.
function(zyr_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;HEADERS;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
  add_library(${name} SHARED ${ARG_SOURCES} ${ARG_HEADERS})
  add_library(ZYR::${name} ALIAS ${name})
  string(TOLOWER ${name} lower)
  generate_export_header(${name}
    BASE_NAME ${name}
    EXPORT_FILE_NAME ${PROJECT_BINARY_DIR}/include/${name}/${lower}_export.h)
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ZYR>)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
  target_compile_definitions(${name} PRIVATE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH
    QT_NO_URL_CAST_FROM_STRING QT_USE_QSTRINGBUILDER)
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  zyr_apply_build_options(${name})

  install(TARGETS ${name} EXPORT ZYRTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  file(GLOB public_headers ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  install(FILES ${public_headers} ${PROJECT_BINARY_DIR}/include/${name}/${lower}_export.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZYR/${name})
endfunction()

# zyr_add_test(<name> SOURCES ... LIBS ...)
# One test executable registered with CTest under its own name.
function(zyr_add_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBS})
  target_compile_definitions(${name} PRIVATE QT_NO_FOREACH QT_NO_URL_CAST_FROM_STRING)
  zyr_apply_build_options(${name})
  add_test(NAME ${name} COMMAND ${name})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT}
    ENVIRONMENT "QT_LOGGING_RULES=zyr.*.debug=false;ASAN_OPTIONS=detect_leaks=1;UBSAN_OPTIONS=print_stacktrace=1")
endfunction()

# Exported CMake package, so that a view project can find_package(ZYR).
function(zyr_install_package)
  install(EXPORT ZYRTargets NAMESPACE ZYR:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ZYR)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ZYRConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ZYRConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ZYR)
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZYRConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/ZYRConfig.cmake ${PROJECT_BINARY_DIR}/ZYRConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ZYR)
endfunction()
