# What the documents say, held to what is built. Needs LIBSIMD_TOOLS and LIBSIMD_DOCS.
find_program(LIBSIMD_MANDOC mandoc REQUIRED)
find_package(Doxygen REQUIRED)

set(docs_build ${PROJECT_BINARY_DIR}/docs)
set(docs_source ${PROJECT_SOURCE_DIR}/docs)

# docs_test(name interpreter arguments...): tests/docs_<name>_test.py as one ctest.
function(docs_test name interpreter)
    add_test(NAME docs_${name} COMMAND ${interpreter}
        ${CMAKE_CURRENT_SOURCE_DIR}/docs_${name}_test.py ${ARGN})
    set_tests_properties(docs_${name} PROPERTIES TIMEOUT 300)
endfunction()

docs_test(kernels Python3::Interpreter ${docs_build}/kernels.json $<TARGET_FILE:simd>
    ${CMAKE_C_COMPILER} ${CMAKE_NM} $<TARGET_FILE:simd-info> ${PROJECT_SOURCE_DIR})
docs_test(pages Python3::Interpreter ${docs_build} ${docs_source} ${DOXYGEN_EXECUTABLE}
    ${LIBSIMD_MANDOC} $<TARGET_FILE:simd-info> $<TARGET_FILE:simd-waterfall>)
docs_test(text Python3::Interpreter ${docs_build}/kernels.json ${PROJECT_SOURCE_DIR}
    ${PROJECT_BINARY_DIR} ${CMAKE_C_COMPILER})
docs_test(planted Python3::Interpreter ${docs_build} ${PROJECT_SOURCE_DIR} $<TARGET_FILE:simd>
    ${CMAKE_C_COMPILER} ${CMAKE_NM} ${DOXYGEN_EXECUTABLE} ${LIBSIMD_MANDOC}
    $<TARGET_FILE:simd-info> $<TARGET_FILE:simd-waterfall>)
docs_test(loading Python3::Interpreter $<TARGET_FILE:simd> ${PROJECT_SOURCE_DIR}/include
    ${CMAKE_C_COMPILER})
docs_test(examples Python3::Interpreter $<TARGET_FILE_DIR:link_host_c> $<TARGET_FILE:simd>)

# Every kernel's example, as its page shows it. NDEBUG would take the assertions away.
file(GLOB kernel_examples CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/kernels/*.c)
foreach(source IN LISTS kernel_examples)
    get_filename_component(kernel ${source} NAME_WE)
    add_executable(example_${kernel} ${source})
    target_compile_options(example_${kernel} PRIVATE -UNDEBUG)
    target_link_libraries(example_${kernel} PRIVATE simd)
    add_test(NAME example.${kernel} COMMAND example_${kernel})
endforeach()
