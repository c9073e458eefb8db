# Warnings for everything that is built here; scripts/test makes them errors, users never see them as such.
option(LIBSIMD_WERROR "Treat warnings as errors" OFF)

set(simd_warnings -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wcast-qual
    -Wundef -Wdouble-promotion -Wvla)
set(simd_cxx_warnings -Wmissing-declarations -Wnon-virtual-dtor -Wold-style-cast
    -Woverloaded-virtual -Wextra-semi)
set(simd_c_warnings -Wstrict-prototypes -Wmissing-prototypes)
if(LIBSIMD_WERROR)
    list(APPEND simd_warnings -Werror)
endif()
add_compile_options(${simd_warnings}
    "$<$<COMPILE_LANGUAGE:CXX>:${simd_cxx_warnings}>" "$<$<COMPILE_LANGUAGE:C>:${simd_c_warnings}>")
