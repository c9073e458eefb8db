/**
 * @file libsimd.h
 * @brief libsimd: SIMD kernels for real and complex sample streams and their spectra.
 *
 * The library converts sample blocks, takes block statistics, multiplies, finishes spectra and
 * filters, always on arrays that the host owns. It runs on x86-64 Linux. This header is the whole
 * interface; it serves C11 and C++20.
 *
 * ENTRIES
 *
 * 50 kernels are exported as pointer variables, called like functions:
 *
 *     fill_f32(row, 1024, 0.0f);
 *
 * Three more (fir_c16_alt, fir_c32_alt, fir_c64_alt) are ordinary functions. An entry is null until
 * the library is loaded. The loader then runs one initialiser, before any caller: it stores the
 * baseline variant wherever there is one, asks the processor once (CPUID), and overrides level by
 * level, in this order:
 *
 *     baseline, SSE, SSE2, SSE3, SSSE3, SSE4.1, AVX, AVX2
 *
 * So an entry holds the variant of the highest level that the processor reports and that the
 * kernel has; each docstring lists its levels. Every level is tested alone: AVX2 is installed even
 * where AVX is not reported, and whether the operating system has enabled the YMM state is not
 * asked. Leaf 7 (AVX2) is queried with whatever the leaf-0 query left in ECX as its sub-leaf; if
 * the processor has no leaf 7, bit 5 of leaf 1's EBX decides instead. Kept: the processor's report
 * alone is the rule.
 *
 * - unpack_s16_f32 has no baseline: its entry stays null on a processor without SSE2, AVX and AVX2.
 *   spec_log_f64 has nothing but a baseline.
 * - The library never writes an entry again. A host may overwrite one, at its own risk: the library
 *   itself calls through minmax_f32, minmax_f64, memcpy_fast and fir_step_c64, at every call.
 * - Some installed variants use more than the level they are installed at, and fault on a processor
 *   that has the level but not the rest (kept: the choice is made by level):
 *
 *     at         entry                                                       also uses
 *     baseline   spec_log_f32                                                SSE4.1
 *     SSE2       spec_log_f32, memcpy_fast, unpack_u8_f32                    SSE4.1
 *     SSE2       unpack_u8_f64, unpack_u16_f64, avg_lvl_f64                  SSE3, SSE4.1
 *     SSE2       avg_f64, iir1_f64, unpack_s16_f64, unpack_cmb_s16_f64,      SSE3
 *                unpack_alt_s16_f64, pack_f64_u8, pack_f64_s16, pack_f64_u16
 *     SSSE3      avg_abs_s16                                                 SSE4.1
 *
 * VOCABULARY
 *
 * - Suffixes: u8, s16, u16, u32 integers; f32 float; f64 double; c16, c32, c64 complex samples with
 *   int16_t, float or double parts.
 * - Counts are elements unless said otherwise (bytes in memcpy_fast, pairs in the two-channel
 *   kernels).
 * - B-aligned: the address is a multiple of B bytes. The width of a level is 16 bytes for SSE,
 *   SSE2, SSE3, SSSE3 and SSE4.1, and 32 bytes for AVX and AVX2; W elements
 *   fit in it.
 * - Head, blocks, tail: the head takes single elements until a named pointer is aligned to the
 *   width (or the array ends, unless said otherwise); whole blocks follow while one remains; the
 *   tail takes the rest singly. Singly means: exactly as the baseline does it.
 * - Threshold t: with n <= t the variant hands the whole call to the baseline.
 * - Lanes: Lj is lane j, the element at place j of each block. Sums of lanes are joined as written.
 * - minsel(a, b) is a if a < b, else b. maxsel(a, b) is a if a > b, else b. On equality (+0 and -0
 *   too) and when either is NaN, the second operand is taken, unchanged. sel stands for the one
 *   that fits the kernel.
 * - 0x3F3504F3 in a formula on floats is the float of these bits, asfloat(0x3F3504F3); bits(x) is
 *   the inverse.
 * - Quantisation relation: x = q * step + offset, for a sample x and its code q. The pack kernels
 *   hand step and offset out, the unpack kernels take them by value, step first.
 *
 * ARITHMETIC
 *
 * - Each operation is rounded to the element type by itself, in the order written. Products are
 *   never fused with sums. Kernels leave MXCSR alone; the results stated here are those of its
 *   default (round to nearest even, exceptions masked, subnormals kept). Single-element float to
 *   integer conversions truncate, block conversions follow MXCSR.
 * - NaN: a sum, difference, product or quotient of two NaNs is the first operand's NaN as written
 *   here (in "sum + x" that of sum), made quiet. An invalid operation on numbers (0/0, inf - inf,
 *   0 * inf) gives the default NaN, its sign bit set.
 * - AVX and AVX2 variants clear the upper halves of the vector registers before they return.
 * - Orders of summation are part of a kernel's contract. Levels differ in last bits where they
 *   differ in order, and nowhere else unless said so.
 *
 * THREADS, OWNERSHIP, BAD INPUT
 *
 * - Kernels keep no state, take no lock, start no thread and allocate nothing. Any number of
 *   threads may call them at once, on outputs that do not overlap. State that spans calls (FIR
 *   history and position, IIR state, running peaks) belongs to the host.
 * - Every buffer is the host's; no pointer is kept after a call.
 * - Arrays of one call must not overlap unless the kernel says that they may.
 * - Pointers must be aligned to their element type; what a kernel accepts beyond that is stated.
 * - Nothing is checked and no error is reported, except the null tests of minmax_* and
 *   minmaxmed_*. An invalid pointer or a count that exceeds its array is read and written as
 *   given. What a count of 0 does is stated per kernel, and so is every irregularity; those are
 *   kept, because hosts depend on them.
 */
#ifndef LIBSIMD_H
#define LIBSIMD_H

#include <stddef.h>
#include <stdint.h>

/** Marks what the shared library exports. */
#define LIBSIMD_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ==== memory: fill, block copy, word swap ==================================================== */

/**
 * Fills an array with one value: dst[i] = value, bit for bit. Baseline, SSE, AVX.
 *
 * SSE and AVX: head until dst is 16- or 32-byte aligned, aligned stores of 4 or 8 copies, tail. A
 * dst off its 4-byte alignment is filled correctly too, all of it singly. n = 0 writes nothing.
 *
 * @param dst    n floats, written
 * @param n      elements
 * @param value  stored n times
 */
typedef void fill_f32_fn(float* dst, size_t n, float value);
LIBSIMD_API extern fill_f32_fn* fill_f32;

/**
 * Copies n bytes past the caches. Baseline, SSE2, AVX2. For large blocks that are not read soon.
 *
 * Baseline: memcpy. SSE2 and AVX2 (A = 16, 32): buffers whose addresses differ modulo A go to
 * memcpy; otherwise ordinary copies of min(n, bytes until src is A-aligned) bytes, 64-byte steps
 * of streaming loads and streaming stores while 64 bytes remain, ordinary copies for the rest. No
 * store fence follows: before another thread is told of the data, the host fences. n = 0 copies
 * nothing.
 *
 * @param dst  n bytes, written; any alignment
 * @param src  n bytes; any alignment; must not overlap dst
 * @param n    bytes
 */
typedef void memcpy_fast_fn(void* dst, const void* src, size_t n);
LIBSIMD_API extern memcpy_fast_fn* memcpy_fast;

/**
 * Exchanges the 16-bit halves of each word: dst[i] = src[i] << 16 | src[i] >> 16.
 * Baseline, SSE2, SSSE3, AVX2; t = 15 at every level above the baseline.
 *
 * Above t: head until src is aligned to the width; steps of two vectors while a whole step
 * remains, then one vector if one remains, with aligned loads and aligned stores; tail of 0 to 3
 * words (SSE2, SSSE3) or 0 to 7 (AVX2).
 *
 * - AVX2 tail: the k-th word left (from 0) is stored 2k places after the first free one, not k.
 *   Odd places of the tail stay unwritten and up to 6 words past dst[n - 1] are overwritten
 *   (n = 18, both 32-byte aligned: word 17 lands in dst[18], dst[17] is untouched). Kept: hosts
 *   depend on it.
 * - The head does not test for the end: a src off its 4-byte alignment runs past the arrays.
 *
 * src == dst is allowed at baseline, SSE2 and SSSE3. n = 0 writes nothing.
 *
 * @param src  n words; 4-byte aligned
 * @param n    elements
 * @param dst  n words, written; above t at the same offset as src within 16 bytes (32 at AVX2), or
 *             the aligned stores fault
 */
typedef void swap_words_u32_fn(const uint32_t* src, size_t n, uint32_t* dst);
LIBSIMD_API extern swap_words_u32_fn* swap_words_u32;

/* ==== convert: floating point to integers and back, two-channel layouts ====================== */

/**
 * Quantises a block of floats to 8 bits over its own range, x = q * step + min.
 * Baseline, SSE2, AVX, AVX2. The rules here hold for all five pack kernels.
 *
 * 1. Minimum and maximum of src, by the minmax kernel of the element type: through its entry, or
 *    the variant of the level itself where the table below says "own". Unsigned kernels hand it
 *    their own min pointer, so the minimum lands there.
 * 2. With K = 255 (u8) or 65535 (s16, u16), all in the element type of src:
 *        baseline:    step = (max - min) / K;   scale = 1 / step
 *        all others:  scale = K / (max - min);  step = 1 / scale
 *    s16 only: mid = ((min + max) + step) * 0.5, which maps min to -32768 and max to 32767.
 *    step and mid are stored now, before any code.
 * 3. Each sample: v = (x - offset) * scale, with offset = min (u8, u16) or mid (s16); then
 *        single: v truncated toward zero to int32, and its low 8 or 16 bits stored, unclamped;
 *        block:  v rounded to nearest even to int32, then clamped to 0..255 (u8) or
 *                -32768..32767 (s16); u16: low 16 bits kept at SSE2 and SSSE3, clamped to
 *                0..65535 at SSE4.1 and AVX.
 *    NaN and values outside int32 convert to -2147483648: code 0, but -32768 for s16 in a block.
 *    So v = 3.7 is 3 singly and 4 in a block; kept: hosts depend on it.
 *
 * Vector variants: head (single) until src is aligned to the width; then, by dst's address at that
 * point, either blocks with unaligned stores ("as is") or more singles until dst is aligned
 * ("walk") and blocks with aligned stores; tail (single). Source loads are always aligned. A src
 * off its element alignment is converted singly throughout; but a vector minmax runs past it, so
 * only up to that kernel's threshold, or with the baseline's minmax in the entry.
 *
 *     kernel        level          block  dst after the head                      minmax
 *     pack_f32_u8   SSE2           16     odd: as is; even: walk to 16            entry
 *     pack_f32_u8   AVX            16     as is                                   own
 *     pack_f32_u8   AVX2           32     as is                                   entry
 *     pack_f32_s16  SSE2           8      as is                                   entry
 *     pack_f32_s16  AVX            8      as is                                   own
 *     pack_f32_s16  AVX2           16     as is                                   entry
 *     pack_f64_u8   SSE2           16     odd: as is; even: walk to 16            own
 *     pack_f64_u8   AVX            16     multiple of 4: walk to 32; else as is   own
 *     pack_f64_s16  SSE2           8      as is                                   own
 *     pack_f64_s16  AVX            8      multiple of 8: walk to 32; else as is   own
 *     pack_f64_u16  SSE2           8      multiple of 4: walk to 16; else as is   own
 *     pack_f64_u16  SSSE3, SSE4.1  8      odd: as is; even: walk to 16            entry
 *     pack_f64_u16  AVX            8      multiple of 8: walk to 32; else as is   own
 *
 * (Baselines use the entry. "As is" takes aligned stores where dst happens to be aligned.)
 *
 * - Fault: pack_f32_u8 at SSE2 and pack_f64_u16 at SSSE3 and SSE4.1, with dst at 2 modulo 4 after
 *   the head: the walk leaves src 8 bytes off, and the aligned loads fault if a whole block
 *   remains. Examples: pack_f32_u8, src 16-byte aligned, dst at 2 modulo 16, n >= 30;
 *   pack_f64_u16, src at 8 modulo 16, dst 16-byte aligned, n >= 16. Kept: callers avoid such
 *   buffers.
 * - Constant block: step = +0 and every v is NaN: codes are 0, but -32768 in the blocks of s16;
 *   mid = min.
 * - Maximum +inf, minimum finite: step = +inf. u8, u16: every code 0. s16: mid = +inf and every v
 *   is NaN. NaN extremes make step, mid and every v NaN.
 * - n = 0: no code is written and *min is left alone, but *step (and *mid) receive a meaningless
 *   value.
 * - step, min and mid must not be null: the minmax kernel ignores a null, the pack kernel does not.
 *
 * @param src   n samples
 * @param n     elements
 * @param dst   n codes, written
 * @param step  out: the quantisation step
 * @param min   out: the offset, the sample value of code 0
 */
typedef void pack_f32_u8_fn(const float* src, size_t n, uint8_t* dst, float* step, float* min);
LIBSIMD_API extern pack_f32_u8_fn* pack_f32_u8;

/**
 * As pack_f32_u8, to signed 16 bits around the centre: x = q * step + mid.
 * Baseline, SSE2, AVX, AVX2.
 *
 * @param src   n samples
 * @param n     elements
 * @param dst   n codes, written
 * @param step  out: the quantisation step
 * @param mid   out: the centre, the sample value of code 0
 */
typedef void pack_f32_s16_fn(const float* src, size_t n, int16_t* dst, float* step, float* mid);
LIBSIMD_API extern pack_f32_s16_fn* pack_f32_s16;

/** As pack_f32_u8, from double. Baseline, SSE2, AVX. */
typedef void pack_f64_u8_fn(const double* src, size_t n, uint8_t* dst, double* step, double* min);
LIBSIMD_API extern pack_f64_u8_fn* pack_f64_u8;

/** As pack_f32_s16, from double. Baseline, SSE2, AVX. */
typedef void pack_f64_s16_fn(const double* src, size_t n, int16_t* dst, double* step, double* mid);
LIBSIMD_API extern pack_f64_s16_fn* pack_f64_s16;

/**
 * As pack_f32_u8, from double to unsigned 16 bits (K = 65535). Baseline, SSE2, SSSE3, SSE4.1, AVX.
 *
 * SSE2 and SSSE3 keep the low 16 bits of a block's codes, SSE4.1 and AVX clamp them; with finite
 * samples and a range that is not degenerate, both store the same.
 */
typedef void pack_f64_u16_fn(const double* src, size_t n, uint16_t* dst, double* step, double* min);
LIBSIMD_API extern pack_f64_u16_fn* pack_f64_u16;

/**
 * Restores floats from 8-bit codes: dst[i] = src[i] * step + offset. The inverse of pack_f32_u8.
 * Baseline, SSE2, AVX, AVX2. The rules here hold for all five unpack kernels.
 *
 * The code is converted exactly, the product is rounded, then the sum; nothing is clamped. Every
 * level and every path gives the same bits. n = 0 writes nothing.
 *
 * Vector variants: head until dst is aligned to the width; then, by src's address at that point,
 * either blocks with unaligned loads ("as is") or more singles until src is aligned ("walk") and
 * blocks with aligned loads; tail. Stores in blocks are always aligned. A dst off its element
 * alignment is written singly throughout.
 *
 *     kernel          level  block  src after the head
 *     unpack_u8_f32   SSE2   16     odd: as is; even: walk to 16
 *     unpack_u8_f32   AVX    16     as is
 *     unpack_u8_f32   AVX2   32     as is
 *     unpack_s16_f32  SSE2   8      as is
 *     unpack_s16_f32  AVX    8      as is
 *     unpack_s16_f32  AVX2   16     as is
 *     unpack_u8_f64   SSE2   16     odd: as is; even: walk to 16
 *     unpack_u8_f64   AVX    16     as is
 *     unpack_s16_f64  SSE2   8      as is
 *     unpack_s16_f64  AVX    8      multiple of 8: walk to 32; else as is
 *     unpack_u16_f64  SSE2   8      multiple of 4: walk to 16; else as is
 *     unpack_u16_f64  AVX    8      multiple of 8: walk to 32; else as is
 *
 * - Fault: unpack_u8_f32 at SSE2 with src at 2 modulo 4 after the head: the walk leaves dst 8
 *   bytes off, and the aligned stores fault if 16 elements remain (dst 16-byte aligned, src at 2
 *   modulo 16, n >= 30). Kept: callers avoid such buffers.
 *
 * @param src     n codes
 * @param n       elements
 * @param dst     n samples, written
 * @param step    multiplier, as handed out by the pack kernel
 * @param offset  added to the product, as handed out by the pack kernel (min or mid)
 */
typedef void unpack_u8_f32_fn(const uint8_t* src, size_t n, float* dst, float step, float offset);
LIBSIMD_API extern unpack_u8_f32_fn* unpack_u8_f32;

/**
 * As unpack_u8_f32, from signed 16 bits. SSE2, AVX, AVX2; no baseline.
 *
 * The entry is null where the processor reports none of the three: test it before the first call.
 */
typedef void unpack_s16_f32_fn(const int16_t* src, size_t n, float* dst, float step, float offset);
LIBSIMD_API extern unpack_s16_f32_fn* unpack_s16_f32;

/** As unpack_u8_f32, to double. Baseline, SSE2, AVX. */
typedef void unpack_u8_f64_fn(const uint8_t* src, size_t n, double* dst, double step,
                              double offset);
LIBSIMD_API extern unpack_u8_f64_fn* unpack_u8_f64;

/** As unpack_u8_f32, from signed 16 bits to double. Baseline, SSE2, AVX. */
typedef void unpack_s16_f64_fn(const int16_t* src, size_t n, double* dst, double step,
                               double offset);
LIBSIMD_API extern unpack_s16_f64_fn* unpack_s16_f64;

/** As unpack_u8_f32, from unsigned 16 bits to double. Baseline, SSE2, AVX. */
typedef void unpack_u16_f64_fn(const uint16_t* src, size_t n, double* dst, double step,
                               double offset);
LIBSIMD_API extern unpack_u16_f64_fn* unpack_u16_f64;

/**
 * Splits interleaved 16-bit pairs into two double arrays. Baseline, SSE2, SSSE3, AVX.
 *
 *     dst0[i] = src[2i] * scale + offset;   dst1[i] = src[2i + 1] * scale + offset
 *
 * Product rounded, then the sum: every level gives the same bits. n = 0 writes nothing.
 *
 * Vector variants: single pairs until both dst0 and dst1 are aligned to the width (all pairs if
 * they never are together). Then, if src is a multiple of 4 (AVX: of 8), single pairs until src is
 * 16-byte aligned (AVX: 32) and aligned loads; else unaligned loads from there. Blocks of 4 pairs
 * with aligned stores to both destinations; tail.
 *
 * - That second run of singles moves the destinations by 8 bytes a pair, and the block stores do
 *   not look again. So once both destinations are aligned, src must not be at 4 or 12 modulo 16
 *   (SSE2, SSSE3), nor at 8 or 24 modulo 32 (AVX); otherwise, if 4 pairs remain after the run, the
 *   stores fault. Kept: buffers that all start on 32-byte boundaries suit every level.
 *
 * @param src     2n samples: channel 0, channel 1, channel 0, ...; 2-byte aligned
 * @param n       pairs
 * @param dst0    n values of channel 0, written; 8-byte aligned
 * @param dst1    n values of channel 1, written; 8-byte aligned
 * @param scale   multiplier
 * @param offset  added to the product
 */
typedef void unpack_alt_s16_f64_fn(const int16_t* src, size_t n, double* dst0, double* dst1,
                                   double scale, double offset);
LIBSIMD_API extern unpack_alt_s16_f64_fn* unpack_alt_s16_f64;

/**
 * Combines two 16-bit channels into one interleaved double array. Baseline, SSE2, AVX.
 *
 *     dst[2i] = src0[i] * scale + offset;   dst[2i + 1] = src1[i] * scale + offset
 *
 * Product rounded, then the sum: every level gives the same bits. n = 0 writes nothing.
 *
 * Vector variants (A = 16 at SSE2, 32 at AVX): if src0 and src1 agree modulo A, single pairs until
 * src0 is A-aligned and aligned loads; else unaligned loads from the first pair on. Blocks of 8
 * pairs, with aligned stores if dst was A-aligned at entry, unaligned ones otherwise; tail.
 *
 * - AVX, dst 32-byte aligned, src0 and src1 equal modulo 32: each single pair moves dst by 16
 *   bytes, and the block stores do not look again. The sources must be multiples of 4, or the
 *   stores fault if 8 pairs remain. Kept. SSE2 has no such case.
 *
 * @param src0    n samples of channel 0; 2-byte aligned
 * @param src1    n samples of channel 1; 2-byte aligned
 * @param n       pairs
 * @param dst     2n values, written; 8-byte aligned
 * @param scale   multiplier
 * @param offset  added to the product
 */
typedef void unpack_cmb_s16_f64_fn(const int16_t* src0, const int16_t* src1, size_t n, double* dst,
                                   double scale, double offset);
LIBSIMD_API extern unpack_cmb_s16_f64_fn* unpack_cmb_s16_f64;

/* ==== stats: extremes, means, levels, running peaks ========================================== */

/**
 * Returns the smallest byte. Baseline, SSE2 (t = 31), AVX2 (t = 63).
 *
 * Exact, and the same at every level. p[0] is read even with n = 0, and then returned.
 *
 * @param p  n elements, at least one readable
 * @param n  elements
 * @return   the minimum
 */
typedef uint8_t min_u8_fn(const uint8_t* p, size_t n);
LIBSIMD_API extern min_u8_fn* min_u8;

/**
 * As min_u8, the largest byte.
 *
 * @return   the maximum
 */
typedef uint8_t max_u8_fn(const uint8_t* p, size_t n);
LIBSIMD_API extern max_u8_fn* max_u8;

/**
 * As min_u8, for signed 16 bits. Baseline, SSE2 (t = 15), AVX2 (t = 31).
 *
 * p must be 2-byte aligned: above t the head does not test for the end and would run past the
 * array.
 */
typedef int16_t min_s16_fn(const int16_t* p, size_t n);
LIBSIMD_API extern min_s16_fn* min_s16;

/**
 * As min_s16, the largest element.
 *
 * @return   the maximum
 */
typedef int16_t max_s16_fn(const int16_t* p, size_t n);
LIBSIMD_API extern max_s16_fn* max_s16;

/**
 * Writes the smallest and the largest 16-bit sample. Baseline, SSE2 (t = 15), AVX2 (t = 31).
 *
 * Exact, and the same at every level. If min or max is null, or n = 0, nothing is written.
 *
 * @param p    n elements; 2-byte aligned (above t the head does not test for the end)
 * @param n    elements
 * @param min  out: the minimum
 * @param max  out: the maximum
 */
typedef void minmax_s16_fn(const int16_t* p, size_t n, int16_t* min, int16_t* max);
LIBSIMD_API extern minmax_s16_fn* minmax_s16;

/**
 * Returns the smallest float. Baseline, SSE (t = 15), AVX (t = 31).
 *
 * No step tests for NaN; the order of operands decides which NaN and which zero survives.
 *
 * Baseline: p[0] is read always, and returned for n = 0 and n = 1. Then m = p[0], and for each
 * further element m = minsel(m, p[i]) if n is 2, 3 or 4, but m = minsel(p[i], m) if n is 5 or more.
 * So up to 4 elements only a NaN in the last place is returned; from 5 on, a NaN first element is
 * returned and every later NaN is ignored.
 *
 * Vector variants:
 *     head    h = p[0]; h = minsel(p[i], h) for the elements from p[1] to the first aligned one
 *             (none if p is aligned; p[0] then belongs to the first block too)
 *     blocks  v = first aligned block; v = minsel(v, block), lane by lane
 *     fold    halves, lower lanes against upper: minsel(Lj, Lj+half). AVX: the first of the three
 *             halvings is minsel(Lj+4, Lj), the others as before
 *     tail    r = minsel(p[i], r)
 *     result  SSE minsel(h, r); AVX minsel(r, h)
 *
 * The head does not test for the end: p off its element alignment runs past the array.
 *
 * @param p  n elements, at least one readable; aligned to the element
 * @param n  elements
 * @return   the minimum
 */
typedef float min_f32_fn(const float* p, size_t n);
LIBSIMD_API extern min_f32_fn* min_f32;

/**
 * As min_f32, the largest float: maxsel for minsel throughout.
 *
 * @return   the maximum
 */
typedef float max_f32_fn(const float* p, size_t n);
LIBSIMD_API extern max_f32_fn* max_f32;

/**
 * As min_f32, in double. Baseline, SSE2 (t = 7), AVX (t = 15). Head and blocks as there; then
 *
 *     SSE2  r = minsel(L1, L0); parity step; result minsel(r, h)
 *     AVX   r = minsel(minsel(L0, L1), minsel(L2, L3)); tail r = minsel(p[i], r);
 *           result minsel(r, h)
 *
 * - Parity step (SSE2, in place of a tail): with odd n, r = minsel(r, p[n - 1]); with even n,
 *   nothing. Exact if p is 16-byte aligned. With p at 8 modulo 16, an even n leaves p[n - 1] out,
 *   and an odd n looks at it twice. Kept: hosts depend on it.
 */
typedef double min_f64_fn(const double* p, size_t n);
LIBSIMD_API extern min_f64_fn* min_f64;

/**
 * As min_f64, the largest double: maxsel for minsel. Baseline, SSE2 (t = 7, parity step),
 * AVX (t = 15).
 *
 * - AVX skips the head: up to 3 elements before the first 32-byte boundary are not looked at, and
 *   the result is r, without h. Kept: hosts depend on it.
 *
 * @return   the maximum
 */
typedef double max_f64_fn(const double* p, size_t n);
LIBSIMD_API extern max_f64_fn* max_f64;

/**
 * Writes the smallest and the largest float. Baseline, SSE (t = 15), AVX (t = 31).
 *
 * If min or max is null, or n = 0, nothing is written.
 *
 * Baseline: p[0] is stored to *max, then to *min; then for each further x: if *min > x, *min = x;
 * if x > *max, *max = x. Each comparison reads what was stored last. NaN elements change nothing;
 * a NaN first element stays in both.
 *
 * Vector variants:
 *     head    hmin = hmax = p[0]; up to the first aligned element hmin = minsel(p[i], hmin),
 *             hmax = maxsel(p[i], hmax)
 *     blocks  both start as the first aligned block; vmin = minsel(vmin, block),
 *             vmax = maxsel(vmax, block)
 *     fold    as min_f32 and max_f32 at the same level
 *     store   *min = minsel(rmin, hmin), *max = maxsel(rmax, hmax)
 *     tail    the baseline's comparisons, on *min and *max
 *
 * The head does not test for the end: p off its element alignment runs past the array.
 *
 * @param p    n elements; aligned to the element
 * @param n    elements
 * @param min  out: the minimum
 * @param max  out: the maximum
 */
typedef void minmax_f32_fn(const float* p, size_t n, float* min, float* max);
LIBSIMD_API extern minmax_f32_fn* minmax_f32;

/**
 * As minmax_f32, in double. Baseline, SSE2 (t = 15), AVX (t = 31).
 *
 * Fold: SSE2 r = sel(L0, L1), the other way round than min_f64; AVX as min_f64.
 *
 * - SSE2 has the parity step of min_f64 in place of a tail, on rmin and rmax before they are joined
 *   with the head: p at 8 modulo 16 and an even n leaves the last element out. Kept.
 */
typedef void minmax_f64_fn(const double* p, size_t n, double* min, double* max);
LIBSIMD_API extern minmax_f64_fn* minmax_f64;

/**
 * Returns the mean. Baseline, SSE, AVX.
 *
 * Baseline: sum = 0; sum = sum + x[i] in order; sum / n, with n converted to the element type,
 * correctly rounded over all of size_t. n = 0 gives 0 / 0, a NaN.
 *
 * Vector variants: head sum H (from 0) until x is aligned to the width; lane sums over the blocks;
 * fold; the tail is added one by one to the fold; then the division.
 *
 *     SSE   block 4   ((L1 + L3) + (L0 + L2)) + H
 *     AVX   block 8   ((M1 + M3) + (M0 + M2)) + H, with Mj = Lj + Lj+4
 *
 * An x off its element alignment is summed singly.
 *
 * @param x  n elements
 * @param n  elements
 * @return   the mean
 */
typedef float avg_f32_fn(const float* x, size_t n);
LIBSIMD_API extern avg_f32_fn* avg_f32;

/**
 * As avg_f32, in double. Baseline, SSE2, AVX.
 *
 *     SSE2  step 4 (two vectors, added in order to the same 2 lanes)   H + (L0 + L1)
 *     AVX   step 8 (two vectors, added in order to the same 4 lanes)   ((L0 + L2) + (L1 + L3)) + H
 *
 * A step is taken while all of it remains; the tail is up to 3 or 7 elements.
 */
typedef double avg_f64_fn(const double* x, size_t n);
LIBSIMD_API extern avg_f64_fn* avg_f64;

/**
 * Returns the mean of the elements that do not exceed a level: a floor estimate.
 * Baseline, SSE2, AVX, AVX2.
 *
 * Baseline: sum = 0, count = 0.0f; for each x[i] <= level: sum = sum + x[i], count = count + 1.
 * The result is sum / count, or +0 if count is 0 (n = 0 included). A NaN element never counts; a
 * NaN level counts none.
 *
 * Vector variants: as avg_f32, where an element above the level adds +0 to its lane, and the lanes
 * are counted exactly in integers (32 bits for float, 64 for double); that count is converted
 * once, to nearest, and added to the head's. The tail counts in the element type again.
 *
 *     SSE2       block 4   ((L1 + L3) + (L0 + L2)) + H
 *     AVX, AVX2  block 8   ((M1 + M3) + (M0 + M2)) + H, with Mj = Lj + Lj+4; same bits
 *
 * - Counting in float stops at 16777216. The baseline thus divides by at most that, the vector
 *   variants by the (rounded) true count. Kept.
 *
 * @param x      n elements
 * @param n      elements
 * @param level  largest value that counts
 * @return       the mean of those that count, or +0
 */
typedef float avg_lvl_f32_fn(const float* x, size_t n, float level);
LIBSIMD_API extern avg_lvl_f32_fn* avg_lvl_f32;

/**
 * As avg_lvl_f32, in double. Baseline, SSE2, AVX, AVX2.
 *
 *     SSE2  block 2                             H + (L0 + L1)
 *     AVX   step 8 (two vectors into 4 lanes)   ((L0 + L2) + (L1 + L3)) + H
 *     AVX2  block 4                             ((L0 + L2) + (L1 + L3)) + H
 *
 * AVX and AVX2 differ only in which of the last elements are tail.
 */
typedef double avg_lvl_f64_fn(const double* x, size_t n, double level);
LIBSIMD_API extern avg_lvl_f64_fn* avg_lvl_f64;

/**
 * Returns the mean absolute value, truncated. Baseline, SSSE3 (t = 15), AVX2 (t = 31).
 *
 * total / n in unsigned 64-bit integers; -32768 counts as 32768. n = 0 returns 0.
 *
 * Vector variants: head until x is 16- or 32-byte aligned, into 64 bits; blocks of 8 or 16 elements
 * into as many unsigned 32-bit lanes; the lanes are widened and added (AVX2: first in pairs, in 32
 * bits, to eight); tail.
 *
 * - The 32-bit sums wrap modulo 2^32. That takes at least 1048576 block elements (131072 in one
 *   lane, all of magnitude 32768); below, every level returns the same. Kept.
 * - Above t the head does not test for the end: an odd x runs past the array.
 *
 * @param x  n samples; 2-byte aligned
 * @param n  elements
 * @return   the mean, 0 to 32768 (less where sums have wrapped)
 */
typedef uint64_t avg_abs_s16_fn(const int16_t* x, size_t n);
LIBSIMD_API extern avg_abs_s16_fn* avg_abs_s16;

/**
 * Writes minimum, maximum and mean of a block. Baseline, SSE (t = 15), AVX (t = 31).
 *
 * The name says median; it is the mean. If n = 0 or any of min, max and mean is null, nothing is
 * written.
 *
 * Baseline: p[0] is stored to *mean, *max, *min in this order; then for each further x the
 * comparisons of minmax_f32's baseline and *mean = x + *mean; at the end *mean = *mean / n, n
 * converted to the element type. A NaN anywhere makes the mean NaN.
 *
 * Vector variants:
 *     head    as minmax_f32, and hsum = 0, hsum = hsum + p[i] from p[0] on (none if p is aligned;
 *             p[0] is then summed in the first block)
 *     blocks  vmin, vmax, vsum start as the first aligned block; minmax_f32's steps, and
 *             vsum = vsum + block
 *     fold    minima and maxima as minmax_f32 at the same level, joined with the head as there; sum
 *                 SSE   ((L1 + L3) + (L0 + L2)) + hsum
 *                 AVX   ((A1 + A3) + (A0 + A2)) + hsum, with Aj = Lj+4 + Lj
 *     tail    the baseline's step on the three outputs
 *     mean    sum / n
 *
 * The head does not test for the end: p off its element alignment runs past the array.
 *
 * @param p     n elements; aligned to the element
 * @param n     elements
 * @param min   out: the minimum
 * @param max   out: the maximum
 * @param mean  out: the mean
 */
typedef void minmaxmed_f32_fn(const float* p, size_t n, float* min, float* max, float* mean);
LIBSIMD_API extern minmaxmed_f32_fn* minmaxmed_f32;

/**
 * As minmaxmed_f32, in double. Baseline, SSE2 (t = 15), AVX (t = 15).
 *
 * Minima and maxima fold as in minmax_f64. Sum: SSE2 (L0 + hsum) + L1; AVX
 * ((L0 + L2) + (L1 + L3)) + hsum.
 *
 * - SSE2 has a parity step in place of a tail: with odd n, p[n - 1] is added to the sum (sum + p)
 *   and folded into rmin and rmax, sel(r, p[n - 1]), before they are joined with the head; with
 *   even n, nothing. With p at 8 modulo 16, an even n leaves the last element out of all three
 *   (the divisor is still n), and an odd n adds it twice. Kept: hosts depend on it.
 */
typedef void minmaxmed_f64_fn(const double* p, size_t n, double* min, double* max, double* mean);
LIBSIMD_API extern minmaxmed_f64_fn* minmaxmed_f64;

/**
 * Raises each element of dst to that of src: a running peak. Baseline, SSE (t = 15), AVX (t = 31).
 *
 * Baseline: if src[i] > dst[i], dst[i] = src[i]. NaN in src is not copied; NaN in dst stays. n = 0
 * does nothing.
 *
 * Vector variants: if dst and src agree modulo the width, head until dst is aligned and aligned
 * blocks; otherwise unaligned blocks from element 0; tail. Blocks of 4 (SSE) or 8 (AVX).
 *
 * - A block stores maxsel(dst, src) to every element: on equality or NaN the one of src. So in
 *   blocks only, a NaN in src is copied, a NaN in dst is replaced, and of +0 and -0 that of src
 *   remains. Kept: hosts depend on it.
 *
 * dst == src is allowed; partial overlap is undefined.
 *
 * @param dst  n elements, read and written; aligned to the element
 * @param src  n elements; aligned to the element
 * @param n    elements
 */
typedef void max_array_f32_fn(float* dst, const float* src, size_t n);
LIBSIMD_API extern max_array_f32_fn* max_array_f32;

/** As max_array_f32, in double. Baseline, SSE2 (t = 15, blocks of 2), AVX (t = 15, blocks of 4). */
typedef void max_array_f64_fn(double* dst, const double* src, size_t n);
LIBSIMD_API extern max_array_f64_fn* max_array_f64;

/* ==== spectrum: products, interleaving, power, decibels ====================================== */

/**
 * Multiplies two arrays: dst[i] = a[i] * b[i]. Baseline, SSE, AVX. The destination comes first.
 *
 * Vector variants: if all three pointers agree modulo the width, head until a is aligned and
 * aligned blocks; otherwise unaligned blocks from element 0; tail. Blocks of 4 (SSE) or 8 (AVX).
 * n = 0 touches nothing.
 *
 * - Every level gives the same bits, but for two NaN factors: a block takes the NaN of b, a single
 *   element that of a. Kept.
 *
 * @param dst  n elements, written; any alignment
 * @param a    n elements; any alignment
 * @param b    n elements; any alignment
 * @param n    elements
 */
typedef void mult_f32_fn(float* dst, const float* a, const float* b, size_t n);
LIBSIMD_API extern mult_f32_fn* mult_f32;

/** As mult_f32, in double. Baseline, SSE2 (blocks of 2), AVX (blocks of 4). */
typedef void mult_f64_fn(double* dst, const double* a, const double* b, size_t n);
LIBSIMD_API extern mult_f64_fn* mult_f64;

/**
 * Scales and offsets an array in place: x[i] = x[i] * scale + offset. Baseline, SSE, AVX.
 *
 * Product rounded, then the sum: every level gives the same bits. SSE and AVX: head until x is
 * aligned, blocks of 4 or 8, tail; an x off its element alignment is done singly. n = 0 touches
 * nothing.
 *
 * @param x       n elements, read and written; any alignment
 * @param n       elements
 * @param scale   multiplier
 * @param offset  added to the product
 */
typedef void mult_add_f32_fn(float* x, size_t n, float scale, float offset);
LIBSIMD_API extern mult_add_f32_fn* mult_add_f32;

/**
 * Interleaves two arrays: out[2i] = re[i], out[2i + 1] = im[i]. Baseline, SSE2, AVX.
 *
 * A copy, bit for bit. n = 0 touches nothing.
 *
 *     SSE2  blocks of 2, aligned if all three pointers are 16-byte aligned, else unaligned; no
 *           head; a last element alone
 *     AVX   all three 32-byte aligned: aligned blocks of 4. All three equal modulo 32: single pairs
 *           until re is aligned, then aligned blocks. Else unaligned blocks. Up to 3 last singly
 *
 * - Fault (AVX): in the second case out moves twice as fast as re and is not aligned when re is.
 *   With a shared offset of 8, 16 or 24 modulo 32 and 4 elements left after the single pairs, the
 *   aligned stores fault. Kept: pass 32-byte aligned buffers, or mutually misaligned ones. (A
 *   shared offset that is no multiple of 8 copies everything singly.)
 *
 * @param re   n first elements
 * @param im   n second elements
 * @param n    pairs
 * @param out  2n elements, written
 */
typedef void mix_f64_fn(const double* re, const double* im, size_t n, double* out);
LIBSIMD_API extern mix_f64_fn* mix_f64;

/**
 * Power of a Fourier transform's output, halves exchanged. Baseline, SSE, AVX.
 *
 * With h = n / 2 (truncated) and p(k) = re_k * re_k + im_k * im_k, for i below h:
 *
 *     out[h + i] = p(i);   then   out[i] = p(h + i)
 *
 * so that the zero-frequency bin lands in the middle. No root is taken, nothing is scaled.
 * Baseline: n of 0 or 1 writes nothing; with odd n the last bin is not read and out[n - 1] not
 * written.
 *
 * Vector variants: both halves in whole blocks, no head, no tail; aligned accesses if in and out
 * are both aligned to the width, else unaligned. Here single precision is irregular (kept: hosts
 * depend on it). Per block of bins c0, c1, ... they write
 *
 *     SSE  4   re0^2 + re1^2, re2^2 + re3^2, im0^2 + im1^2, im2^2 + im3^2
 *     AVX  8   p0, p3, p2, p5, p2, p3, p6, p7   (p1 and p4 are lost)
 *
 * A host that needs p(k) at every level takes fft_abs_f64.
 *
 * - n must be a multiple of 8 (SSE) or 16 (AVX). Otherwise each half is rounded up to whole
 *   blocks: the first writes from out[h] on while below out[n], up to 3 or 7 elements past it; the
 *   second writes from out[0] on while below out[h], over the start of the first, reading on from
 *   where the first stopped. n = 1 writes one whole block at out[0]; n = 0 nothing. With aligned
 *   buffers and a half that is not whole blocks the aligned stores fault.
 *
 * @param in   2n elements: re, im, re, im, ...; any alignment
 * @param n    complex values
 * @param out  n elements, written; any alignment
 */
typedef void fft_abs_f32_fn(const float* in, size_t n, float* out);
LIBSIMD_API extern fft_abs_f32_fn* fft_abs_f32;

/**
 * As fft_abs_f32, in double, and with the baseline's bits at every level. Baseline, SSE2 and SSE3
 * (blocks of 2), AVX (blocks of 4).
 *
 * - n must be a multiple of 4 (SSE2, SSE3) or 8 (AVX): each half ends only where its position
 *   equals the end, and any other n runs off the buffers (or faults first, if they are aligned).
 *   n = 0 writes nothing. Kept.
 */
typedef void fft_abs_f64_fn(const double* in, size_t n, double* out);
LIBSIMD_API extern fft_abs_f64_fn* fft_abs_f64;

/**
 * Power to decibels: out[i] = 10 * log10(in[i]) - offset. Baseline, SSE2 (t = 15), AVX2 (t = 31).
 *
 * Baseline: v = in[i] if FLT_MIN < in[i], else FLT_MIN (0x00800000), so zero, negative, subnormal
 * and NaN inputs give the floor of about -379.29779 - offset; out[i] = log10f(v) * 10 - offset.
 * log10f is the system's. n = 0 writes nothing. in == out is allowed at every level.
 *
 * Above t, SSE2 and AVX2 work in aligned blocks of 4 and 8 from element 0, with no tail, and
 * compute the logarithm themselves; both give the same bits. Per lane, a Horner polynomial on the
 * mantissa and the exponent times ln 2 in two parts (Cody & Waite, "Software Manual for the
 * Elementary Functions"):
 *
 *     x = maxsel(x, FLT_MIN)
 *     e = (float)((int)(bits(x) >> 23) - 127) + 1
 *     m = asfloat((bits(x) & 0x807FFFFF) | 0x3F000000)        in [0.5, 1)
 *     if m < 0x3F3504F3 (sqrt 1/2):  e = e - 1,  m = (m - 1) + m;  else m = m - 1
 *     z = m * m
 *     y = p0 * m;  for k = 1..8:  y = (y + pk) * m
 *     y = y * z;  y = y + e * q1;  y = y - z * 0.5
 *     r = y + m;  r = r + e * q2                              ln x
 *     r = r / ln10;  r = r * 10;  out = r - offset
 *
 *     p0..p8  3D9021BB BDEBD1B8 3DEF251A BDFE5D4F 3E11E9BF BE2AAE50 3E4CCEAC BE7FFFFC 3EAAAAAA
 *     q1 B95E8083 (-2.12194440e-4)   q2 3F318000 (0.693359375)   ln10 40135D8E (2.3025851)
 *
 * - Blocks differ from log10f by a few units in the last place. +inf gives 385.31836 - offset in a
 *   block, +inf in the baseline.
 * - The block loop ends only on equality: above t, n must be a multiple of 4 (SSE2) or 8 (AVX2),
 *   or it runs past the arrays; and both arrays must be 16- or 32-byte aligned, or it faults.
 *   Kept.
 *
 * @param in      n powers; aligned as above (baseline: to the element)
 * @param n       elements
 * @param out     n decibel values, written; aligned as in
 * @param offset  subtracted
 */
typedef void spec_log_f32_fn(const float* in, size_t n, float* out, float offset);
LIBSIMD_API extern spec_log_f32_fn* spec_log_f32;

/**
 * As spec_log_f32, in double. Baseline only, any n.
 *
 * v = in[i] if in[i] > DBL_MIN (0x0010000000000000), else DBL_MIN; out[i] = log10(v) * 10 -
 * offset. The floor is about -3076.5266 - offset.
 */
typedef void spec_log_f64_fn(const double* in, size_t n, double* out, double offset);
LIBSIMD_API extern spec_log_f64_fn* spec_log_f64;

/* ==== filter: FIR steps and streams, exponential averaging, smoothing ======================== */

/**
 * One output of a complex FIR with real taps: two dot products with one tap array (direct form).
 * Baseline, SSE (W = 4), AVX (W = 8).
 *
 *     *out_re = sum re[i] * taps[i];   *out_im = sum im[i] * taps[i]
 *
 * The taps are not reversed. Both sums run independently in the same pattern. Baseline: from +0, in
 * order, sum + product. n = 0 stores +0 twice and reads nothing.
 *
 * Vector variants: if re, im and taps agree modulo the width, head until re is aligned, into a
 * head sum H from +0, and aligned blocks; otherwise H = +0 and unaligned blocks from element 0. W
 * lanes from +0, lane = lane + product; fold, then H, then the tail one by one:
 *
 *     W = 2   (L0 + L1) + H
 *     W = 4   ((L0 + L2) + (L1 + L3)) + H
 *     W = 8   (((L0 + L4) + (L2 + L6)) + ((L1 + L5) + (L3 + L7))) + H
 *
 * So the last bits depend on the level and on the addresses modulo the width; below W elements
 * every level gives the baseline's.
 *
 * @param re      n elements of the real plane; aligned to the element
 * @param im      n elements of the imaginary plane; aligned to the element
 * @param taps    n taps; aligned to the element
 * @param n       elements
 * @param out_re  out: the real sum; must not overlap the inputs
 * @param out_im  out: the imaginary sum; must not overlap the inputs
 */
typedef void fir_step_c32_fn(const float* re, const float* im, const float* taps, size_t n,
                             float* out_re, float* out_im);
LIBSIMD_API extern fir_step_c32_fn* fir_step_c32;

/** As fir_step_c32, in double. Baseline, SSE2 (W = 2), AVX (W = 4). */
typedef void fir_step_c64_fn(const double* re, const double* im, const double* taps, size_t n,
                             double* out_re, double* out_im);
LIBSIMD_API extern fir_step_c64_fn* fir_step_c64;

/**
 * Streams complex 16-bit samples through a FIR with real taps. A plain function.
 *
 * y[k] = sum over j = 0..last of taps[j] * x[k - j], with the last + 1 newest samples in a ring
 * that the caller keeps. For each sample, with L = last + 1 and p = *pos at entry:
 *
 *     hist_re[p], hist_im[p] = the sample's parts, each s * scale + offset (product rounded first)
 *     a0, b0 = fir_step_c64(hist_re + p, hist_im + p, taps, L - p)
 *     a1, b1 = fir_step_c64(hist_re, hist_im, taps + (L - p), p)            called for p = 0 too
 *     out[2k] = a0 + a1;  out[2k + 1] = b0 + b1
 *     p = p - 1, or last below 0
 *
 * and *pos = p at the end. The ring is filled downwards: older samples stand at higher slots. The
 * entry fir_step_c64 is read at every call. A stream cut into calls at any place gives the bits of
 * one call. count = 0 writes *pos back unchanged and nothing else.
 *
 * Before the first call the caller sets the history (zeros for silence) and *pos (any slot). A
 * *pos outside 0..last is not noticed and reads and writes outside the arrays. Two calls at once
 * must not share history and position.
 *
 * @param in       2 * count samples: re, im, re, im, ...
 * @param count    complex samples
 * @param taps     last + 1 taps, that of the newest sample first
 * @param last     taps - 1
 * @param pos      in and out: slot of the next sample, 0..last
 * @param hist_re  last + 1 real parts, read and written
 * @param hist_im  last + 1 imaginary parts, read and written
 * @param out      2 * count values, written: re, im, re, im, ...
 * @param scale    multiplier of both parts
 * @param offset   added to both parts
 */
LIBSIMD_API void fir_c16_alt(const int16_t* in, uint64_t count, const double* taps, uint64_t last,
                             int64_t* pos, double* hist_re, double* hist_im, double* out,
                             double scale, double offset);

/** As fir_c16_alt, for complex floats, widened exactly; no scale, no offset. A plain function. */
LIBSIMD_API void fir_c32_alt(const float* in, uint64_t count, const double* taps, uint64_t last,
                             int64_t* pos, double* hist_re, double* hist_im, double* out);

/** As fir_c16_alt, for complex doubles, taken as they are. A plain function. */
LIBSIMD_API void fir_c64_alt(const double* in, uint64_t count, const double* taps, uint64_t last,
                             int64_t* pos, double* hist_re, double* hist_im, double* out);

/**
 * Exponential averaging of frames: y[i] = (x[i] - y[i]) * a + y[i]. Baseline, SSE (t = 15),
 * AVX (t = 31).
 *
 * Difference, product and sum are each rounded. The recursion runs over calls, not along the
 * array. a = 0 keeps the state, a = 1 gives (x[i] - y[i]) + y[i], which may miss x[i] by a last
 * bit; no range is enforced. n = 0 touches nothing. NaN stays in its element.
 *
 * Above t: if x and y agree modulo the width, head until y is aligned and aligned blocks; otherwise
 * unaligned blocks from element 0; tail. Same bits as the baseline, except:
 *
 * - SSE (and SSE2 in iir1_f64): the head computes y[i] = (x[i] - y[i]) * a, without adding y[i]
 *   back. That is 1 to 3 leading floats (one double), when n > 15, x and y agree modulo 16 and y
 *   is not 16-byte aligned. AVX heads are complete. Kept: hosts depend on it.
 *
 * The head does not test for the end: y off its element alignment runs past the arrays.
 *
 * @param x  n elements, the new frame; aligned to the element
 * @param n  elements
 * @param y  n elements, the state, read and written; aligned to the element
 * @param a  share of the new frame, in the element type
 */
typedef void iir1_f32_fn(const float* x, size_t n, float* y, float a);
LIBSIMD_API extern iir1_f32_fn* iir1_f32;

/** As iir1_f32, in double. Baseline, SSE2 (t = 15, no add-back in the head), AVX (t = 15). */
typedef void iir1_f64_fn(const double* x, size_t n, double* y, double a);
LIBSIMD_API extern iir1_f64_fn* iir1_f64;

/**
 * Smooths an array with a symmetric FIR centred on each output (direct form), ends replicated.
 * Baseline, SSE (W = 4), AVX (W = 8).
 *
 * With half = len >> 1 there are 2 * half + 1 taps, and taps[half - d] must equal taps[half + d].
 * An even len acts as the next odd one and needs len + 1 taps. Kept. The baseline reads taps[0] to
 * taps[half] only, the vector variants all of them.
 *
 * len <= 1: y is a copy of x (by the memcpy_fast entry, n elements); taps is not read, even if
 * taps[0] is not 1.
 *
 * Folded form of output i, indices below 0 and from n on replaced by x[0] and x[n - 1]:
 *
 *     acc = x[i] * taps[half]
 *     for k = 0..half - 1:  acc = acc + (x[i + half - k] + x[i - half + k]) * taps[k]
 *
 * Baseline: every output folded. The first half outputs replace only left indices, those from
 * max(n - half, half) on only right ones.
 *
 * Vector variants: the first half outputs folded; then floor((n - 2 * half) / 2W) blocks of 2W
 * outputs (none if fewer remain); the rest folded. In a block from output i0 on, for j = 0..W - 1,
 * one call of the fir_step of the same level (the variant itself, not the entry) makes two
 * outputs:
 *
 *     y[i0 + j], y[i0 + j + W] =
 *         fir_step(x + i0 + j - half, x + i0 + j + W - half, taps, 2 * half + 1)
 *
 * that is, unfolded and in fir_step's order, by the alignment of x and taps too. Outputs outside
 * the blocks have the baseline's bits.
 *
 * - n must be at least 2 * half. Below, the first phase reads past x (its right index is not
 *   replaced), and below half it writes past y. Not tested. n must not be negative.
 *
 * @param x     n elements; aligned to the element
 * @param n     elements
 * @param taps  2 * half + 1 taps; aligned to the element
 * @param len   nominal number of taps
 * @param y     n elements, written; aligned to the element; must not overlap x
 */
typedef void vfilter_f32_fn(const float* x, int32_t n, const float* taps, int32_t len, float* y);
LIBSIMD_API extern vfilter_f32_fn* vfilter_f32;

/** As vfilter_f32, in double. Baseline, SSE2 (W = 2), AVX (W = 4). */
typedef void vfilter_f64_fn(const double* x, int32_t n, const double* taps, int32_t len, double* y);
LIBSIMD_API extern vfilter_f64_fn* vfilter_f64;

/**
 * Mean of a chunk, weighted by w and a Gaussian around a centre. Baseline, SSE2, AVX2.
 *
 * For each sample, all in float (0.15 is 0x3E19999A; the standard deviation is about 4.71):
 *
 *     d = (x[i] - c) * 0.15;   e = exp(-d * d);   g = e * w[i]
 *     num = num + x[i] * g;    den = den + g
 *
 * and the result is num / den. -d * d is (-d) * d in the scalar form, (0 - d) * d in blocks.
 *
 *     baseline  from +0, in order, exp by the system's expf
 *     SSE2      n <= 7 as the baseline; else blocks of 4 from sample 0,
 *               fold ((L0 + L2) + (L1 + L3)) + 0; the rest one by one with expf
 *     AVX2      n <= 15 as SSE2; else blocks of 8,
 *               fold (((L0 + L4) + (L2 + L6)) + ((L1 + L5) + (L3 + L7))) + 0; the rest with expf
 *
 * Lanes start at +0. Blocks compute exp themselves, per lane: a Horner polynomial after a range
 * reduction with ln 2 in two parts (Cody & Waite, "Software Manual for the Elementary Functions"):
 *
 *     v = maxsel(minsel(v, 0x42B0C0A5), 0xC2B0C0A5)            +-88.376263
 *     f = v * 0x3FB8AA3B + 0.5                                 log2 e
 *     t = f truncated;  if t > f:  t = t - 1
 *     r = v - t * 0x3F318000;  r = r - t * 0xB95E8083
 *     s = asfloat(((int)t + 127) << 23)                        2^t
 *     p = ((((c0 * r + c1) * r + c2) * r + c3) * r + c4) * r + 0.5
 *     e = ((p * (r * r) + r) + 1) * s
 *
 *     c0..c4  39506967 3AB743CE 3C088908 3D2AA9C1 3E2AAAAA
 *
 * - Below v of about -87.683 (a distance from c of about 62.4) e is exactly 0 in a block; expf
 *   still gives subnormal values, so the same sample in the tail keeps a weight. Kept.
 * - n = 0, and weights g that are all zero, give 0 / 0, a NaN. A negative total is not noticed.
 * - A NaN or infinite sample makes the result NaN. In a block a NaN argument is clamped like a
 *   large one (e is then about 2.4061436e38): a NaN c makes the result NaN through expf or by
 *   overflow, and where neither happens the mean is finite.
 *
 * @param x  n samples; aligned to the element
 * @param w  n weights; aligned to the element
 * @param n  elements
 * @param c  the centre
 * @return   the weighted mean
 */
typedef float vfilter2_chunk_fn(const float* x, const float* w, size_t n, float c);
LIBSIMD_API extern vfilter2_chunk_fn* vfilter2_chunk;

#ifdef __cplusplus
}
#endif

#endif /* LIBSIMD_H */
