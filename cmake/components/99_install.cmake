# Installation: the library with its version and SONAME, the headers of include/ and contracts/
# in one folder include/BrelonOnfEngine/, a CMake package (find_package(BrelonOnfEngine) gives
# BrelonOnfEngine::BrelonOnfEngine) and a pkg-config file BrelonOnfEngine.pc. The `onf` command
# is installed where it is defined, in the top-level CMakeLists.txt.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ONF_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/BrelonOnfEngine)
set(ONF_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/BrelonOnfEngine)

# Clients compile the headers as C++17, whatever their own default.
target_compile_features(BrelonOnfEngine PUBLIC cxx_std_17)

install(TARGETS BrelonOnfEngine EXPORT BrelonOnfEngineTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${ONF_INSTALL_INCLUDEDIR})
install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/include/ ${CMAKE_CURRENT_SOURCE_DIR}/contracts/
        DESTINATION ${ONF_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

install(EXPORT BrelonOnfEngineTargets NAMESPACE BrelonOnfEngine::
        DESTINATION ${ONF_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_SOURCE_DIR}/cmake/install/BrelonOnfEngineConfig.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/BrelonOnfEngineConfig.cmake
                              INSTALL_DESTINATION ${ONF_INSTALL_CMAKEDIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/BrelonOnfEngineConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/BrelonOnfEngineConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/BrelonOnfEngineConfigVersion.cmake
        DESTINATION ${ONF_INSTALL_CMAKEDIR})

# The pkg-config file finds the prefix from its own place, so that an install with
# `cmake --install --prefix` elsewhere than the configured prefix still points right.
file(RELATIVE_PATH ONF_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" ONF_PC_TO_PREFIX "${ONF_PC_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_SOURCE_DIR}/cmake/install/BrelonOnfEngine.pc.in
               ${CMAKE_CURRENT_BINARY_DIR}/BrelonOnfEngine.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/BrelonOnfEngine.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The command, beside the library, which it finds through a relative run path.
if(TARGET onf)
    set_target_properties(onf PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS onf RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES ${CMAKE_BINARY_DIR}/onf.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/tools/onf/onf.bash-completion
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME onf)
endif()

# The worked examples of docs/api.md, built against the tree and run in a scratch folder; CI
# builds them once more against the installed package.
if(ONF_BUILD_TESTS)
    add_executable(onf_api_examples ${CMAKE_CURRENT_SOURCE_DIR}/examples/client/api_examples.cpp)
    target_link_libraries(onf_api_examples PRIVATE BrelonOnfEngine)
    add_test(NAME onf_api_examples
             COMMAND bash -c "dir=$(mktemp -d) && $<TARGET_FILE:onf_api_examples> \"$dir\"; rc=$?; rm -rf \"$dir\"; exit $rc")
    set_tests_properties(onf_api_examples PROPERTIES LABELS unit)
endif()
