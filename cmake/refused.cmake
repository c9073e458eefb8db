# Flags that the library cannot be built with and cannot take back as cmake/levels.cmake does, each with
# its reason. Looked at before project(), which tries the compiler: with some of them it says less clearly
# that nothing can be built.
set(simd_given " ")
foreach(flags IN ITEMS C CXX SHARED_LINKER)
    set(environment $ENV{${flags}FLAGS})
    if(flags STREQUAL SHARED_LINKER)
        set(environment $ENV{LDFLAGS})
    endif()
    if(DEFINED CMAKE_${flags}_FLAGS) # from then on CMake looks at the environment no more
        set(environment ${CMAKE_${flags}_FLAGS})
    endif()
    string(APPEND simd_given "${environment} ")
endforeach()
foreach(type IN ITEMS ${CMAKE_BUILD_TYPE} ${CMAKE_CONFIGURATION_TYPES})
    string(TOUPPER "${type}" type)
    string(APPEND simd_given "${CMAKE_CXX_FLAGS_${type}} ${CMAKE_SHARED_LINKER_FLAGS_${type}} ")
endforeach()
foreach(options IN ITEMS COMPILE_OPTIONS LINK_OPTIONS) # those of a project above
    get_directory_property(passed ${options})
    string(APPEND simd_given "${passed} ")
endforeach()

function(simd_refuse pattern reason)
    if(simd_given MATCHES "[ ;](${pattern})[ ;]")
        message(FATAL_ERROR " libsimd cannot be built with ${CMAKE_MATCH_1}: ${reason}")
    endif()
endfunction()

simd_refuse("-m(32|x32|16)" "its kernels are 64-bit code")
if(NOT LIBSIMD_INSTRUMENTED)
    simd_refuse("-pg?|-finstrument-function[^ ;]*|--?coverage|-fcoverage-mapping"
        "each kernel would count or report its calls")
    simd_refuse("-fprofile-arcs|-fprofile-(instr-)?generate[^ ;]*" "each kernel would keep counts")
endif()
simd_refuse("-m(indirect-branch|function-return)=thunk[a-z-]*|-mretpoline[a-z-]*"
    "files of different instruction sets would share code")
simd_refuse("-mspeculative-load-hardening|-mlvi-(hardening|cfi)" "its kernels hold no fences")
simd_refuse("[^ ;]*-Bsymbolic" "it could not fill the copies of its entries that hosts hold")
