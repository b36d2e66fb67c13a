# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 The ZYR developers
#
# The two functions every directory uses: zyr_add_library() for the shared
# libraries and zyr_add_test() for the one-executable-per-class tests.

set(ZYR_EXPORT_TARGETS "" CACHE INTERNAL "")

# Compile options shared by libraries, tests and tools.
function(zyr_apply_build_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Qt's logging macros (qCWarning(category)) leave a variadic argument empty.
    target_compile_options(${target} PRIVATE -Wno-gnu-zero-variadic-macro-arguments)
  endif()
  if(ZYR_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(ZYR_SANITIZE)
    list(JOIN ZYR_SANITIZE "," _san)
    target_compile_options(${target} PRIVATE -fsanitize=${_san} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(${target} PRIVATE -fsanitize=${_san})
  endif()
  if(ZYR_FUZZ)
    # Coverage for the fuzzer in every library; the fuzz targets add the driver.
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()

# zyr_stage_headers(<dir> <header>...)
# Links each header into <dir> under its file name, so that a library whose
# sources sit in subsystem folders is still included as <Lib/BClass.h>.
# Only the staged directory is on an include path: a library sees its own
# headers and those of the libraries it links, never the source tree.
function(zyr_stage_headers dir)
  file(REMOVE_RECURSE ${dir})
  file(MAKE_DIRECTORY ${dir})
  foreach(header ${ARGN})
    get_filename_component(abs ${header} ABSOLUTE)
    get_filename_component(base ${header} NAME)
    if(EXISTS ${dir}/${base})
      message(FATAL_ERROR "two headers named ${base} in ${dir}")
    endif()
    file(CREATE_LINK ${abs} ${dir}/${base} SYMBOLIC)
  endforeach()
endfunction()

# zyr_add_library(<Name> SOURCES ... PUBLIC_HEADERS ... [PRIVATE_HEADERS ...]
#                 [PUBLIC_LIBS ...] [PRIVATE_LIBS ...])
# Makes the shared library <Name> with the alias ZYR::<Name>, a generated
# export header <Name>/<name>_export.h and Qt's strict string defines.
# Public headers are included as <Name/Header.h> by the library and by its
# users and are installed; private (_p.h) headers are included the same way
# by the library's own sources only and are not installed.
function(zyr_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_HEADERS;PRIVATE_HEADERS;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
  add_library(${name} SHARED ${ARG_SOURCES} ${ARG_PUBLIC_HEADERS} ${ARG_PRIVATE_HEADERS})
  add_library(ZYR::${name} ALIAS ${name})
  string(TOLOWER ${name} lower)
  set(public_dir ${PROJECT_BINARY_DIR}/include/${name})
  set(private_dir ${PROJECT_BINARY_DIR}/private/${name})
  zyr_stage_headers(${public_dir}/${name} ${ARG_PUBLIC_HEADERS})
  zyr_stage_headers(${private_dir}/${name} ${ARG_PRIVATE_HEADERS})
  generate_export_header(${name}
    BASE_NAME ${name}
    EXPORT_FILE_NAME ${public_dir}/${name}/${lower}_export.h)
  target_include_directories(${name}
    PUBLIC $<BUILD_INTERFACE:${public_dir}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ZYR>
    PRIVATE ${private_dir})
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
  target_compile_definitions(${name} PRIVATE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH
    QT_NO_URL_CAST_FROM_STRING QT_USE_QSTRINGBUILDER)
  set_target_properties(${name} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  zyr_apply_build_options(${name})
  zyr_use_precompiled_qt(${name})

  install(TARGETS ${name} EXPORT ZYRTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(FILES ${ARG_PUBLIC_HEADERS} ${public_dir}/${name}/${lower}_export.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ZYR/${name})
endfunction()

# zyr_private_headers(<target> <Lib>)
# Lets a test of <Lib>'s internal classes include <Lib/Internal_p.h>.
function(zyr_private_headers target lib)
  target_include_directories(${target} PRIVATE ${PROJECT_BINARY_DIR}/private/${lib})
endfunction()

# Qt headers that nearly every source includes, compiled once per target.
# Saves about a third of a clean build (a sanitizer build above all).
function(zyr_use_precompiled_qt target)
  if(NOT ZYR_PRECOMPILE)
    return()
  endif()
  get_target_property(libs ${target} LINK_LIBRARIES)
  set(headers <QObject> <QString> <QList> <QMap> <QSharedPointer> <QFile> <QDir> <QFileInfo> <QDateTime>
    <QTimer> <QThread> <QJsonObject> <QJsonArray> <QJsonDocument>)
  if("Qt6::Network" IN_LIST libs OR "ZYR::ZYRInterface" IN_LIST libs OR "ZYR::ZYRController" IN_LIST libs
     OR "ZYR::ZYRService" IN_LIST libs)
    list(APPEND headers <QNetworkReply> <QNetworkAccessManager>)
  endif()
  target_precompile_headers(${target} PRIVATE ${headers})
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
