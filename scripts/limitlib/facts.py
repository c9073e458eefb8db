"""What the header says of each kernel, as the bounds need it, and what the code cannot say."""
import collections

# sizes: bytes by which each stream moves per element. block: elements per block or step, by level.
# off: what the benches shift by one element for the unaligned row, as (element bytes, loads,
# stores); None where a head brings every array of the kernel to its boundary. read, written: bytes
# per element; in_place: of those written, the ones that are read anyway.
Kernel = collections.namedtuple("Kernel", "family sizes block off read written in_place")

SSE_AVX = {"sse": 4, "avx": 8}
F64 = {"sse2": 2, "avx": 4}


def kernel(family, sizes, block, off=None, read=0, written=0, in_place=0):
    return Kernel(family, sizes, block, off, read, written, in_place)


KERNELS = {
    "fill_f32": kernel("fill", (4,), SSE_AVX, written=4),
    "memcpy_fast": kernel("copy", (4,), {"sse2": 16, "avx2": 16}, read=4, written=4),
    "swap_words_u32": kernel("swap", (4,), {"sse2": 8, "ssse3": 8, "avx2": 16}, read=4, written=4),
    "pack_f32_u8": kernel("pack", (4, 1), {"sse2": 16, "avx": 16, "avx2": 32}, (1, 0, 1), 8, 1),
    "pack_f32_s16": kernel("pack", (4, 2), {"sse2": 8, "avx": 8, "avx2": 16}, (2, 0, 1), 8, 2),
    "pack_f64_u8": kernel("pack", (8, 1), {"sse2": 16, "avx": 16}, (1, 0, 1), 16, 1),
    "pack_f64_s16": kernel("pack", (8, 2), {"sse2": 8, "avx": 8}, (2, 0, 1), 16, 2),
    "pack_f64_u16": kernel("pack", (8, 2), {"sse2": 8, "ssse3": 8, "sse41": 8, "avx": 8},
                           (2, 0, 1), 16, 2),
    "unpack_u8_f32": kernel("unpack", (1, 4), {"sse2": 16, "avx": 16, "avx2": 32}, (1, 1, 0), 1, 4),
    "unpack_s16_f32": kernel("unpack", (2, 4), {"sse2": 8, "avx": 8, "avx2": 16}, (2, 1, 0), 2, 4),
    "unpack_u8_f64": kernel("unpack", (1, 8), {"sse2": 16, "avx": 16}, (1, 1, 0), 1, 8),
    "unpack_s16_f64": kernel("unpack", (2, 8), {"sse2": 8, "avx": 8}, (2, 1, 0), 2, 8),
    "unpack_u16_f64": kernel("unpack", (2, 8), {"sse2": 8, "avx": 8}, (2, 1, 0), 2, 8),
    "unpack_alt_s16_f64": kernel("unpack", (4, 8), {"sse2": 4, "ssse3": 4, "avx": 4}, (4, 1, 0),
                                 4, 16),
    "unpack_cmb_s16_f64": kernel("unpack", (2, 16), {"sse2": 8, "avx": 8}, (2, 1, 0), 4, 16),
    "min_u8": kernel("extremes", (1,), {"sse2": 16, "avx2": 32}, read=1),
    "max_u8": kernel("extremes", (1,), {"sse2": 16, "avx2": 32}, read=1),
    "min_s16": kernel("extremes", (2,), {"sse2": 8, "avx2": 16}, read=2),
    "max_s16": kernel("extremes", (2,), {"sse2": 8, "avx2": 16}, read=2),
    "minmax_s16": kernel("extremes", (2,), {"sse2": 8, "avx2": 16}, read=2),
    "min_f32": kernel("extremes", (4,), SSE_AVX, read=4),
    "max_f32": kernel("extremes", (4,), SSE_AVX, read=4),
    "minmax_f32": kernel("extremes", (4,), SSE_AVX, read=4),
    "min_f64": kernel("extremes", (8,), F64, read=8),
    "max_f64": kernel("extremes", (8,), F64, read=8),
    "minmax_f64": kernel("extremes", (8,), F64, read=8),
    "avg_f32": kernel("means", (4,), SSE_AVX, read=4),
    "avg_f64": kernel("means", (8,), {"sse2": 4, "avx": 8}, read=8),
    "avg_lvl_f32": kernel("means", (4,), {"sse2": 4, "avx": 8, "avx2": 8}, read=4),
    "avg_lvl_f64": kernel("means", (8,), {"sse2": 2, "avx": 8, "avx2": 4}, read=8),
    "avg_abs_s16": kernel("means", (2,), {"ssse3": 8, "avx2": 16}, read=2),
    "minmaxmed_f32": kernel("means", (4,), SSE_AVX, read=4),
    "minmaxmed_f64": kernel("means", (8,), F64, read=8),
    "max_array_f32": kernel("elementwise", (4,), SSE_AVX, (4, 1, 1), 8, 4, 4),
    "max_array_f64": kernel("elementwise", (8,), F64, (8, 1, 1), 16, 8, 8),
    "mult_f32": kernel("elementwise", (4,), SSE_AVX, (4, 0, 1), 8, 4),
    "mult_f64": kernel("elementwise", (8,), F64, (8, 0, 1), 16, 8),
    "mult_add_f32": kernel("elementwise", (4,), SSE_AVX, None, 4, 4, 4),
    "iir1_f32": kernel("elementwise", (4,), SSE_AVX, (4, 1, 1), 8, 4, 4),
    "iir1_f64": kernel("elementwise", (8,), F64, (8, 1, 1), 16, 8, 8),
    "mix_f64": kernel("spectrum", (8, 16), F64, (16, 0, 1), 16, 16),
    "fft_abs_f32": kernel("spectrum", (8, 4), SSE_AVX, (4, 0, 1), 8, 4),
    "fft_abs_f64": kernel("spectrum", (16, 8), {"sse2": 2, "sse3": 2, "avx": 4}, (8, 0, 1), 16, 8),
    "spec_log_f32": kernel("spectrum", (4,), {"sse2": 4, "avx2": 8}, read=4, written=4),
    "spec_log_f64": kernel("spectrum", (8,), {}, read=8, written=8),
    "fir_step_c32": kernel("filter", (4,), SSE_AVX, (4, 1, 0), 12),
    "fir_step_c64": kernel("filter", (8,), F64, (8, 1, 0), 24),
    "vfilter_f32": kernel("filter", (4,), SSE_AVX, (4, 1, 0), 4, 4),
    "vfilter_f64": kernel("filter", (8,), F64, (8, 1, 0), 8, 8),
    "vfilter2_chunk": kernel("filter", (4,), {"sse2": 4, "avx2": 8}, (4, 1, 0), 8),
}

# Rows without a bound of ours, and why.
ELSEWHERE = {
    ("memcpy_fast", "base", "aligned"): "libc", ("memcpy_fast", "base", "unaligned"): "libc",
    ("memcpy_fast", "sse2", "aligned"): "memory", ("memcpy_fast", "avx2", "aligned"): "memory",
    ("memcpy_fast", "sse2", "unaligned"): "libc", ("memcpy_fast", "avx2", "unaligned"): "libc",
    ("spec_log_f32", "base", "aligned"): "libm", ("spec_log_f32", "base", "unaligned"): "libm",
    ("spec_log_f64", "base", "aligned"): "libm", ("spec_log_f64", "base", "unaligned"): "libm",
    ("vfilter2_chunk", "base", "aligned"): "libm", ("vfilter2_chunk", "base", "unaligned"): "libm",
    ("spec_log_f32", "sse2", "unaligned"): "faults",
    ("spec_log_f32", "avx2", "unaligned"): "faults",
    ("swap_words_u32", "sse2", "unaligned"): "faults",
    ("swap_words_u32", "ssse3", "unaligned"): "faults",
    ("swap_words_u32", "avx2", "unaligned"): "faults",
}

# The streams of these go past the caches: what they write is not read first.
STREAMING = {("memcpy_fast", "sse2"), ("memcpy_fast", "avx2")}

# The taps that the smoothing's rows are for, those of the benches.
TAPS = 31

# Several blocks stand side by side in stages, each a loop of its own. The loop for the blocks left
# over does the whole work of one: the longest.
STAGED = {"spec_log_f32", "vfilter2_chunk"}

# Another loop than the rule finds: {(variant, "aligned" or "unaligned"): index among the function's
# innermost loops, by address}. Empty while the rule finds the right one everywhere.
OVERRIDES = {}


def first_pass(name, level):
    """The minmax variant that a pack variant runs first, at a processor of that level."""
    if not name.startswith("pack_"):
        return None
    kind = name.split("_")[1]
    by_level = {"base": "base", "avx": "avx", "avx2": "avx"}
    return f"minmax_{kind}_{by_level.get(level, 'sse' if kind == 'f32' else 'sse2')}"


def traffic(name, level):
    """(bytes read, bytes written, bytes moved) per element out of the caches: a written line is
    read first, unless it is read anyway or streamed."""
    k = KERNELS[name]
    allocated = 0 if (name, level) in STREAMING else k.written - k.in_place
    return k.read, k.written, k.read + k.written + allocated
