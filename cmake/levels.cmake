# What each level is compiled with. This is the only place that holds -m flags.
#
# A level file gets its own set and is refused the next one, so that neither an intrinsic nor the
# compiler's own choice can reach above the level. A variant that demands more than its level says
# so itself, with DEMANDS_SSE3 or DEMANDS_SSE41 (lanes/variant.h), and only that function gets it.

set(simd_level_base  -msse2 -mno-sse3)      # what every x86-64 has
set(simd_level_sse   -msse -mno-sse2)
set(simd_level_sse2  -msse2 -mno-sse3)
set(simd_level_sse3  -msse3 -mno-ssse3)
set(simd_level_ssse3 -mssse3 -mno-sse4.1)
set(simd_level_sse41 -msse4.1 -mno-sse4.2)
set(simd_level_avx   -mavx -mno-avx2 -mno-fma)
set(simd_level_avx2  -mavx2 -mno-fma)

# Generic tuning splits an unaligned 32-byte access into two halves, in g++ and in clang++, for the
# sake of processors of 2011; tuning for a later one only changes choices among the same sets.
list(APPEND simd_level_avx  -mtune=haswell)
list(APPEND simd_level_avx2 -mtune=haswell)

# The variants clear the upper halves themselves, on every way out; the compilers' own insertions
# would stand beside ours at -O2 and be missing at -O0.
list(APPEND simd_level_avx  -mno-vzeroupper)
list(APPEND simd_level_avx2 -mno-vzeroupper)

# Whatever a distribution, a user or a project above passes stands before our flags, which take back what
# would change a result, reach above a level or break a rule of the file.
set(simd_guards
    -march=x86-64 -mtune=generic -mno-fma -mno-fma4 -mno-xop -mno-sse4a -mno-bmi -mno-bmi2 -mno-lzcnt
    -mno-popcnt -mno-movbe -mno-tbm -mno-adx
    -fno-fast-math -fno-associative-math -fno-reciprocal-math -fsigned-zeros -fno-finite-math-only
    -fno-rounding-math
    -mcmodel=small -fPIC -fno-lto -fno-split-stack -fzero-initialized-in-bss
    -fpatchable-function-entry=0)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    list(APPEND simd_guards -fno-unsafe-math-optimizations -ftrapping-math -fno-single-precision-constant
        -mfpmath=sse -mabi=sysv -mno-avx256-split-unaligned-load -mno-avx256-split-unaligned-store
        -fno-trapv -fno-whole-program -fno-unroll-all-loops -fno-unroll-loops -ftree-parallelize-loops=1
        -fno-keep-inline-functions)
else()
    list(APPEND simd_guards -fno-trapping-math -fdenormal-fp-math=ieee -fno-xray-instrument)
    if(CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 15)
        list(APPEND simd_guards -ffp-eval-method=source)
    endif()
endif()
if(NOT LIBSIMD_INSTRUMENTED)
    list(APPEND simd_guards -fno-sanitize=all)
    # The same sources give the same file, wherever they and the build lie.
    list(APPEND simd_guards -ffile-prefix-map=${CMAKE_CURRENT_SOURCE_DIR}=.)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        list(APPEND simd_guards -ffile-prefix-map=${CMAKE_BINARY_DIR}=.)
    else()
        list(APPEND simd_guards -fdebug-compilation-dir=.)
    endif()
endif()

# What every kernel file is compiled with, so that the bits do not depend on compiler or -O level, and
# so that a loop is what its source says: unrolled where that says so, and nowhere else.
set(simd_kernel_flags
    ${simd_guards}
    -ffp-contract=off           # every product is rounded before it is added
    -fno-math-errno             # no call beside an inlined instruction
    -fno-builtin                # no loop becomes memset or memcpy, no call is replaced
    -fvisibility=hidden         # the header gives the 53 names their default visibility
    -fno-stack-protector        # nor does a distribution's flag add a call
    -fno-exceptions -fno-rtti -fno-threadsafe-statics)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # -fno-crossjumping: of two loops' equal ends it makes one, and of an aligned and an unaligned access
    # an unaligned one.
    list(APPEND simd_kernel_flags -fno-tree-vectorize -fno-tree-loop-distribute-patterns -fno-crossjumping)
else()
    list(APPEND simd_kernel_flags -fno-vectorize -fno-slp-vectorize -fno-unroll-loops)
endif()

# Code is fetched by lines of 64 bytes, and a short loop across two takes twice the time. So the
# baselines' loops, which are all short, begin a line; the others' begin a line or its middle: theirs fit
# into half a line or take long, and more padding would cost the short calls more than it gains.
if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang" OR CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 14)
    set(simd_loops_base -falign-loops=64)
    foreach(level IN ITEMS sse sse2 sse3 ssse3 sse41 avx avx2)
        set(simd_loops_${level} -falign-loops=32)
    endforeach()
endif()

# simd_family(folder/family level...): adds folder/family_<level>.cpp to simd_sources, each with the
# flags of its level.
macro(simd_family family)
    foreach(level IN ITEMS ${ARGN})
        set(source ${family}_${level}.cpp)
        list(APPEND simd_sources ${source})
        set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS
            "${simd_kernel_flags};${simd_level_${level}};${simd_loops_${level}}")
    endforeach()
endmacro()
