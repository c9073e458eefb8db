"""What the library does on this processor, as simd-info tells it."""
from . import _native

_NAMES = {"base": "baseline", "sse": "SSE", "sse2": "SSE2", "sse3": "SSE3", "ssse3": "SSSE3",
          "sse41": "SSE4.1", "avx": "AVX", "avx2": "AVX2"}


class Info(dict):
    """A dictionary that prints as a table."""

    def __str__(self):
        features = [_NAMES[name] for name, has in self["features"].items() if has]
        wide = "has" if self["wide_registers_enabled"] else "has not"
        lines = [f"library     {self['library']}",
                 f"processor   reports {', '.join(features) or 'no level'}",
                 f"registers   the operating system {wide} enabled the 32-byte ones",
                 "", "kernel             installed preconditions"]
        for kernel in self["kernels"]:
            installed = _NAMES.get(kernel["installed"], "-")
            demands = "; ".join([f"NOT USABLE: {kernel['unavailable']}"] * bool(
                kernel["unavailable"]) + kernel["preconditions"])
            lines.append(f"{kernel['name']:18} {installed:9} {demands}".rstrip())
        return "\n".join(lines)


def _width(level):
    return 32 if level.startswith("avx") else 16


def _preconditions(name, level):
    """What libsimd.kernels checks of the variant beyond type, size and overlap, in words."""
    found = []
    if name.startswith(("pack", "minmax")):
        found.append("n is at least 1")
    if name in ("min_u8", "max_u8") or name[:4] in ("min_", "max_") and "array" not in name:
        found.append("the array has an element")
    if name.startswith("fir_c"):
        found.append("0 <= pos < taps, and at least one tap")
    if name.startswith("vfilter_"):
        found.append("n is at least taps - 1, an odd number of taps")
    if level in (None, "base"):
        return found
    width = _width(level)
    if name == "swap_words_u32":
        found.append(f"from n = 16 on src and dst agree modulo {width}")
        if level == "avx2":
            found.append("dst has room for 6 words more")
    if (name, level) in {("pack_f32_u8", "sse2"), ("pack_f64_u16", "ssse3"),
                         ("pack_f64_u16", "sse41")}:
        found.append("src and dst on boundaries of 16 bytes")
    if (name, level) == ("unpack_u8_f32", "sse2"):
        found.append("src and dst on boundaries of 16 bytes")
    if name in ("unpack_alt_s16_f64", "unpack_cmb_s16_f64") and (name[7:10], level) != ("cmb", "sse2"):
        found.append(f"all arrays on boundaries of {width} bytes, or the destinations off them")
    if (name, level) == ("mix_f64", "avx"):
        found.append("no offset that all three arrays share, but 0 modulo 32")
    if name.startswith("fft_abs"):
        block = 2 * width // (4 if name.endswith("f32") else 8)
        found.append(f"n is a multiple of {block}")
    if name == "spec_log_f32":
        found.append(f"from n = {width} on n is a multiple of {width // 4} and both arrays lie on "
                     f"boundaries of {width} bytes")
    return found


def info():
    """The library's path, the processor's levels, and of each kernel the variant that is installed,
    those there are, what each uses beyond its level, and what it demands of its arguments.

    Returns a dictionary; printed, it is a table.

    >>> import libsimd
    >>> mult = [k for k in libsimd.info()["kernels"] if k["name"] == "mult_f32"][0]
    >>> [variant["level"] for variant in mult["variants"]]
    ['base', 'sse', 'avx']
    """
    facts = _native.facts()
    for kernel in facts["kernels"]:
        kernel["preconditions"] = _preconditions(kernel["name"], kernel["installed"])
    return Info(facts)
