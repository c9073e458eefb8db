# What cmake --install puts where: the library with its headers, a CMake package and a pkg-config file,
# and, where they are built, the tools with their documents. Nothing installed holds a path of its own,
# so the tree may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(simd_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/libsimd)
install(TARGETS simd EXPORT libsimd
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/libsimd.h include/libsimd.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development)

# find_package(libsimd) gives libsimd::libsimd, as add_subdirectory does.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/libsimdConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(EXPORT libsimd NAMESPACE libsimd:: FILE libsimdConfig.cmake
    DESTINATION ${simd_package_dir} COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libsimdConfigVersion.cmake
    DESTINATION ${simd_package_dir} COMPONENT development)

file(RELATIVE_PATH simd_pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" simd_pc_to_prefix ${simd_pc_to_prefix})
file(RELATIVE_PATH simd_prefix_to_lib ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH simd_prefix_to_include ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/libsimd.pc.in libsimd.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libsimd.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)

if(LIBSIMD_TOOLS)
    file(RELATIVE_PATH simd_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(simd-info simd-waterfall PROPERTIES
        INSTALL_RPATH "$ORIGIN/${simd_bin_to_lib}")
    install(TARGETS simd-info simd-waterfall
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT documentation
        PATTERN CMakeLists.txt EXCLUDE PATTERN __pycache__ EXCLUDE)
endif()
