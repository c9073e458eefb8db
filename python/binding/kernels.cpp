// python/binding/kernels.cpp: the 53 kernels as Python functions: arguments in C's order without the
// counts, which the arrays tell, and without the single values that a kernel hands out, which are
// returned. What a kernel demands beyond that is checked for the variant that is installed.
#include "binding/kernels.h"

#include "binding/call.h"
#include "libsimd.h"

#include <cstring>
#include <limits>

namespace binding {
namespace {

using H = py::handle;
using py::arg;

/// A kernel's docstring: the call, what Python adds, and what the header says.
std::string text(const Kernel& k, const char* arguments, const std::string& own)
{
    return std::string(k.name) + arguments + "\n\n" + own + "\nIn C:\n\n    " + k.prototype +
           "\n\n" + k.contract + "\n";
}

/// The last argument of all.
py::arg_v keyword(const char* name) { return arg(name) = py::none(); }

std::string replaced(std::string in, const std::string& what, const std::string& by)
{
    for (std::size_t at = 0; (at = in.find(what, at)) != std::string::npos; at += by.size())
        in.replace(at, what.size(), by);
    return in;
}

/// An example for kernels of a family: NAME is the kernel, TYPE and CODE the element types.
std::string example(const Kernel& k, const char* lines, const char* type = "",
                    const char* code = "")
{
    return "    >>> " +
           replaced(replaced(replaced(replaced(lines, "NAME", k.name), "TYPE", type), "CODE", code),
                    "\n", "\n    ") +
           "\n";
}

// --- Memory ------------------------------------------------------------------------------------------

void define_fill(py::module_& m)
{
    const Kernel& k = kernel("fill_f32");
    const auto call = [&k](H dst, H value, H n) {
        const Call c(k);
        const View d = c.array<float>(dst, "dst", written | any_address);
        const auto v = c.number<float>(value, "value");
        const std::size_t count = c.count(n, {d});
        c.run<fill_f32_fn>([&](auto* f) { f(d.as<float>(), count, v); });
    };
    const std::string doc = text(k, "(dst, value, *, n=None) -> None",
                                 "dst: float32 (n), written; value: its new elements.\n\n" +
                                     example(k, "dst = numpy.empty(3, 'float32')\n"
                                                ">>> kernels.NAME(dst, -120)\n"
                                                ">>> dst.tolist()\n"
                                                "[-120.0, -120.0, -120.0]"));
    m.def(k.name, call, doc.c_str(), arg("dst"), arg("value"), py::kw_only(), keyword("n"));
}

void define_copy(py::module_& m)
{
    const Kernel& k = kernel("memcpy_fast");
    const auto call = [&k](H dst, H src, H n) {
        const Call c(k);
        const View d = c.bytes(dst, "dst", written);
        const View s = c.bytes(src, "src", read);
        const std::size_t count = c.count(n, {d, s});
        c.apart(count, {d, s});
        c.run<memcpy_fast_fn>([&](auto* f) { f(d.data, s.data, count); });
    };
    const std::string doc = text(k, "(dst, src, *, n=None) -> None",
                                 "dst: any type, written; src: as many bytes; n: bytes.\n\n" +
                                     example(k, "src = numpy.arange(4.0); dst = numpy.empty(4)\n"
                                                ">>> kernels.NAME(dst, src)\n"
                                                ">>> dst.tolist()\n"
                                                "[0.0, 1.0, 2.0, 3.0]"));
    m.def(k.name, call, doc.c_str(), arg("dst"), arg("src"), py::kw_only(), keyword("n"));
}

void define_swap_words(py::module_& m)
{
    const Kernel& k = kernel("swap_words_u32");
    const auto call = [&k](H src, H dst, H n) {
        const Call c(k);
        const View s = c.array<std::uint32_t>(src, "src");
        const View d = c.array<std::uint32_t>(dst, "dst", written);
        const std::size_t count = c.count(n, {s, d});
        std::size_t reach = count;
        if (c.level() != Level::base && count > 15) {
            const std::size_t width = c.width();
            if (s.modulo(width) != d.modulo(width))
                c.refuse("dst", "an address as src has modulo " + std::to_string(width),
                         c.place(d, width) + ", src at " + c.place(s, width));
            if (c.level() == Level::avx2) { // word k of the tail goes to place 2k
                const std::size_t tail = (count - (width - s.modulo(width)) % width / 4) % 8;
                reach += tail < 2 ? 0 : tail - 1;
            }
        }
        if (d.count < reach)
            c.refuse("dst", std::to_string(reach) + " elements, which the variant for AVX2 reaches",
                     std::to_string(d.count));
        if (c.level() == Level::avx2)
            c.apart(reach, {s, d});
        else
            c.apart(count, {s, d}, "dst", "src");
        c.run<swap_words_u32_fn>(
            [&](auto* f) { f(s.as<std::uint32_t>(), count, d.as<std::uint32_t>()); });
    };
    const std::string doc = text(k, "(src, dst, *, n=None) -> None",
                                 "src: uint32 (n); dst: uint32 (n), written.\n\n" +
                                     example(k, "src = numpy.array([0x12345678], 'uint32')\n"
                                                ">>> dst = numpy.empty(1, 'uint32')\n"
                                                ">>> kernels.NAME(src, dst)\n"
                                                ">>> hex(dst[0])\n"
                                                "'0x56781234'"));
    m.def(k.name, call, doc.c_str(), arg("src"), arg("dst"), py::kw_only(), keyword("n"));
}

// --- Convert -----------------------------------------------------------------------------------------

/// Head, walk and blocks of a variant: single elements until the pointer in front is aligned to the
/// width, then, if the other one is a multiple of `walk_if`, until that is aligned to `walk_to`.
struct Walk {
    std::size_t width, block, walk_if, walk_to;
};

/// Whether blocks follow for which the pointer in front is no longer aligned.
bool walks_off(const Walk& w, const View& front, const View& other, std::size_t n)
{
    if (w.width == 0)
        return false;
    std::size_t i = 0;
    while (i < n && (front.address() + i * front.each) % w.width != 0)
        ++i;
    if (w.walk_if != 0 && (other.address() + i * other.each) % w.walk_if == 0)
        while (i < n && (other.address() + i * other.each) % w.walk_to != 0)
            ++i;
    return n - i >= w.block && (front.address() + i * front.each) % w.width != 0;
}

const char* const suitable = "an address for which the blocks stay aligned (a multiple of 32 does)";

/// The variants that take the walk and go wrong by it; all others look before they load.
Walk pack_walk(const Call& c, const Kernel& k)
{
    const bool f32_u8 = std::strcmp(k.name, "pack_f32_u8") == 0 && c.level() == Level::sse2;
    const bool f64_u16 = std::strcmp(k.name, "pack_f64_u16") == 0 &&
                         (c.level() == Level::ssse3 || c.level() == Level::sse41);
    if (!f32_u8 && !f64_u16)
        return {};
    return {16, f32_u8 ? 16U : 8U, 2, 16};
}

template <class Fn, class T, class U>
void define_pack(py::module_& m, const char* name, const char* offset_name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H src, H dst, H n) {
        const Call c(k);
        const View s = c.array<T>(src, "src");
        const View d = c.array<U>(dst, "dst", written);
        const std::size_t count = c.count(n, {s, d});
        if (count == 0)
            c.refuse("src", "at least 1 element, n of them", "0");
        c.apart(count, {s, d});
        if (walks_off(pack_walk(c, k), s, d, count))
            c.refuse("dst", suitable, c.place(d, 16) + ", src at " + c.place(s, 16));
        T step = 0;
        T offset = 0;
        c.run<Fn>([&](auto* f) { f(s.as<T>(), count, d.as<U>(), &step, &offset); });
        return std::pair(step, offset);
    };
    const std::string doc = text(
        k, (std::string("(src, dst, *, n=None) -> (step, ") + offset_name + ")").c_str(),
        std::string("src: ") + Element<T>::name + " (n), at least one; dst: " + Element<U>::name +
            " (n), written; step and " + offset_name + " in the unit of src.\n\n" +
            example(k,
                    "src = numpy.arange(5, dtype='TYPE'); dst = numpy.empty(5, 'CODE')\n"
                    ">>> step, offset = kernels.NAME(src, dst)\n"
                    ">>> numpy.abs(dst * step + offset - src).max() <= step\n"
                    "True",
                    Element<T>::name, Element<U>::name));
    m.def(name, call, doc.c_str(), arg("src"), arg("dst"), py::kw_only(), keyword("n"));
}

template <class Fn, class U, class T>
void define_unpack(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H src, H dst, H step, H offset, H n) {
        const Call c(k);
        const View s = c.array<U>(src, "src");
        const View d = c.array<T>(dst, "dst", written);
        const T by = c.number<T>(step, "step");
        const T plus = c.number<T>(offset, "offset");
        const std::size_t count = c.count(n, {s, d});
        c.apart(count, {s, d});
        if (std::is_same_v<Fn, unpack_u8_f32_fn> && c.level() == Level::sse2 &&
            walks_off({16, 16, 2, 16}, d, s, count))
            c.refuse("src", suitable, c.place(s, 16) + ", dst at " + c.place(d, 16));
        c.run<Fn>([&](auto* f) { f(s.as<U>(), count, d.as<T>(), by, plus); });
    };
    const std::string doc =
        text(k, "(src, dst, step, offset, *, n=None) -> None",
             std::string("src: ") + Element<U>::name + " (n); dst: " + Element<T>::name +
                 " (n), written; step and offset in the unit of dst.\n\n" +
                 example(k,
                         "src = numpy.array([0, 1, 4], 'CODE'); dst = numpy.empty(3, 'TYPE')\n"
                         ">>> kernels.NAME(src, dst, 0.5, -1)\n"
                         ">>> dst.tolist()\n"
                         "[-1.0, -0.5, 1.0]",
                         Element<T>::name, Element<U>::name));
    m.def(name, call, doc.c_str(), arg("src"), arg("dst"), arg("step"), arg("offset"),
          py::kw_only(), keyword("n"));
}

void define_unpack_alt(py::module_& m)
{
    const Kernel& k = kernel("unpack_alt_s16_f64");
    const auto call = [&k](H src, H dst0, H dst1, H scale, H offset, H n) {
        const Call c(k);
        const View s = c.array<std::int16_t>(src, "src", pairs);
        const View d0 = c.array<double>(dst0, "dst0", written);
        const View d1 = c.array<double>(dst1, "dst1", written);
        const auto by = c.number<double>(scale, "scale");
        const auto plus = c.number<double>(offset, "offset");
        const std::size_t count = c.count(n, {s, d0, d1});
        c.apart(count, {s, d0, d1});
        const std::size_t width = c.width();
        if (width != 0 && d0.modulo(width) == d1.modulo(width)) {
            // Pairs until both destinations are aligned; then src may walk them off.
            const std::size_t head = (width - d0.modulo(width)) % width / 8;
            const std::size_t at = (s.address() + head * 4) % width;
            const std::size_t walk = at % (width / 4) == 0 ? (width - at) % width / 4 : 0;
            if (head + walk + 4 <= count && walk * 8 % width != 0)
                c.refuse("src", suitable, c.place(s, width) + ", dst0 at " + c.place(d0, width));
        }
        c.run<unpack_alt_s16_f64_fn>([&](auto* f) {
            f(s.as<std::int16_t>(), count, d0.as<double>(), d1.as<double>(), by, plus);
        });
    };
    const std::string doc =
        text(k, "(src, dst0, dst1, scale, offset, *, n=None) -> None",
             "src: int16 (2n), channels in turn; dst0, dst1: float64 (n), written; n: pairs.\n\n" +
                 example(k, "src = numpy.array([1, -1, 2, -2], 'int16')\n"
                            ">>> left, right = numpy.empty(2), numpy.empty(2)\n"
                            ">>> kernels.NAME(src, left, right, 0.5, 0)\n"
                            ">>> left.tolist(), right.tolist()\n"
                            "([0.5, 1.0], [-0.5, -1.0])"));
    m.def(k.name, call, doc.c_str(), arg("src"), arg("dst0"), arg("dst1"), arg("scale"),
          arg("offset"), py::kw_only(), keyword("n"));
}

void define_unpack_cmb(py::module_& m)
{
    const Kernel& k = kernel("unpack_cmb_s16_f64");
    const auto call = [&k](H src0, H src1, H dst, H scale, H offset, H n) {
        const Call c(k);
        const View s0 = c.array<std::int16_t>(src0, "src0");
        const View s1 = c.array<std::int16_t>(src1, "src1");
        const View d = c.array<double>(dst, "dst", written | pairs);
        const auto by = c.number<double>(scale, "scale");
        const auto plus = c.number<double>(offset, "offset");
        const std::size_t count = c.count(n, {s0, s1, d});
        c.apart(count, {s0, s1, d});
        const std::size_t width = c.width();
        if (width != 0 && d.modulo(width) == 0 && s0.modulo(width) == s1.modulo(width)) {
            const std::size_t head = (width - s0.modulo(width)) % width / 2;
            if (head + 8 <= count && head * 16 % width != 0)
                c.refuse("src0", suitable, c.place(s0, width) + ", dst at " + c.place(d, width));
        }
        c.run<unpack_cmb_s16_f64_fn>([&](auto* f) {
            f(s0.as<std::int16_t>(), s1.as<std::int16_t>(), count, d.as<double>(), by, plus);
        });
    };
    const std::string doc =
        text(k, "(src0, src1, dst, scale, offset, *, n=None) -> None",
             "src0, src1: int16 (n); dst: float64 (2n) or complex128 (n), written; n: pairs.\n\n" +
                 example(k, "re, im = numpy.array([1, 2], 'int16'), numpy.array([3, 4], 'int16')\n"
                            ">>> dst = numpy.empty(2, complex)\n"
                            ">>> kernels.NAME(re, im, dst, 1, 0)\n"
                            ">>> dst.tolist()\n"
                            "[(1+3j), (2+4j)]"));
    m.def(k.name, call, doc.c_str(), arg("src0"), arg("src1"), arg("dst"), arg("scale"),
          arg("offset"), py::kw_only(), keyword("n"));
}

// --- Stats -------------------------------------------------------------------------------------------

/// One array to one value.
template <class Fn, class T>
void define_reduce(py::module_& m, const char* name, const char* p_name, unsigned traits,
                   const char* lines)
{
    const Kernel& k = kernel(name);
    const auto call = [&k, p_name, traits](H p, H n) {
        const Call c(k);
        const View v = c.array<T>(p, p_name, traits);
        const std::size_t count = c.count(n, {v});
        return c.run<Fn>([&](auto* f) { return f(v.as<T>(), count); });
    };
    const std::string doc = text(k, (std::string("(") + p_name + ", *, n=None) -> number").c_str(),
                                 std::string(p_name) + ": " + Element<T>::name + " (n)" +
                                     ((traits & one_at_least) != 0 ? ", at least one" : "") +
                                     ".\n\n" + example(k, lines, Element<T>::name));
    m.def(name, call, doc.c_str(), arg(p_name), py::kw_only(), keyword("n"));
}

template <class Fn, class T>
void define_extreme(py::module_& m, const char* name)
{
    define_reduce<Fn, T>(m, name, "p", one_at_least,
                         name[1] == 'i'
                             ? "kernels.NAME(numpy.array([3, 1, 2], 'TYPE')) == 1\nTrue"
                             : "kernels.NAME(numpy.array([1, 3, 2], 'TYPE')) == 3\nTrue");
}

template <class Fn, class T>
void define_minmax(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H p, H n) {
        const Call c(k);
        const View v = c.array<T>(p, "p");
        const std::size_t count = c.count(n, {v});
        if (count == 0)
            c.refuse("p", "at least 1 element, n of them", "0");
        T min = 0;
        T max = 0;
        c.run<Fn>([&](auto* f) { f(v.as<T>(), count, &min, &max); });
        return std::pair(min, max);
    };
    const std::string doc =
        text(k, "(p, *, n=None) -> (min, max)",
             std::string("p: ") + Element<T>::name + " (n), at least one.\n\n" +
                 example(k, "kernels.NAME(numpy.array([3, 1, 2], 'TYPE')) == (1, 3)\nTrue",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("p"), py::kw_only(), keyword("n"));
}

template <class Fn, class T>
void define_minmaxmed(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H p, H n) {
        const Call c(k);
        const View v = c.array<T>(p, "p");
        const std::size_t count = c.count(n, {v});
        if (count == 0)
            c.refuse("p", "at least 1 element, n of them", "0");
        T min = 0;
        T max = 0;
        T mean = 0;
        c.run<Fn>([&](auto* f) { f(v.as<T>(), count, &min, &max, &mean); });
        return std::tuple(min, max, mean);
    };
    const std::string doc =
        text(k, "(p, *, n=None) -> (min, max, mean)",
             std::string("p: ") + Element<T>::name + " (n), at least one.\n\n" +
                 example(k, "kernels.NAME(numpy.array([4, 1, 1], 'TYPE'))\n(1.0, 4.0, 2.0)",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("p"), py::kw_only(), keyword("n"));
}

template <class Fn, class T>
void define_avg_lvl(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H x, H level, H n) {
        const Call c(k);
        const View v = c.array<T>(x, "x", any_address);
        const T most = c.number<T>(level, "level");
        const std::size_t count = c.count(n, {v});
        return c.run<Fn>([&](auto* f) { return f(v.as<T>(), count, most); });
    };
    const std::string doc =
        text(k, "(x, level, *, n=None) -> float",
             std::string("x: ") + Element<T>::name + " (n); level in the unit of x.\n\n" +
                 example(k, "kernels.NAME(numpy.array([1, 3, 100], 'TYPE'), 10)\n2.0",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("x"), arg("level"), py::kw_only(), keyword("n"));
}

template <class Fn, class T>
void define_max_array(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H dst, H src, H n) {
        const Call c(k);
        const View d = c.array<T>(dst, "dst", written);
        const View s = c.array<T>(src, "src");
        const std::size_t count = c.count(n, {d, s});
        c.apart(count, {d, s}, "dst", "src");
        c.run<Fn>([&](auto* f) { f(d.as<T>(), s.as<T>(), count); });
    };
    const std::string doc =
        text(k, "(dst, src, *, n=None) -> None",
             std::string("dst: ") + Element<T>::name +
                 " (n), read and written; src: " + Element<T>::name + " (n).\n\n" +
                 example(k,
                         "peak = numpy.array([1, 5], 'TYPE')\n"
                         ">>> kernels.NAME(peak, numpy.array([2, 2], 'TYPE'))\n"
                         ">>> peak.tolist()\n"
                         "[2.0, 5.0]",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("dst"), arg("src"), py::kw_only(), keyword("n"));
}

// --- Spectrum ----------------------------------------------------------------------------------------

template <class Fn, class T>
void define_mult(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H dst, H a, H b, H n) {
        const Call c(k);
        const View d = c.array<T>(dst, "dst", written | any_address);
        const View x = c.array<T>(a, "a", any_address);
        const View y = c.array<T>(b, "b", any_address);
        const std::size_t count = c.count(n, {d, x, y});
        c.apart(count, {d, x, y});
        c.run<Fn>([&](auto* f) { f(d.as<T>(), x.as<T>(), y.as<T>(), count); });
    };
    const std::string doc =
        text(k, "(dst, a, b, *, n=None) -> None",
             std::string("dst: ") + Element<T>::name + " (n), written; a, b: " + Element<T>::name +
                 " (n).\n\n" +
                 example(k,
                         "a = numpy.array([1, 2, 3], 'TYPE'); dst = numpy.empty(3, 'TYPE')\n"
                         ">>> kernels.NAME(dst, a, a)\n"
                         ">>> dst.tolist()\n"
                         "[1.0, 4.0, 9.0]",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("dst"), arg("a"), arg("b"), py::kw_only(), keyword("n"));
}

void define_mult_add(py::module_& m)
{
    const Kernel& k = kernel("mult_add_f32");
    const auto call = [&k](H x, H scale, H offset, H n) {
        const Call c(k);
        const View v = c.array<float>(x, "x", written | any_address);
        const auto by = c.number<float>(scale, "scale");
        const auto plus = c.number<float>(offset, "offset");
        const std::size_t count = c.count(n, {v});
        c.run<mult_add_f32_fn>([&](auto* f) { f(v.as<float>(), count, by, plus); });
    };
    const std::string doc = text(k, "(x, scale, offset, *, n=None) -> None",
                                 "x: float32 (n), read and written.\n\n" +
                                     example(k, "x = numpy.array([1, 2, 3], 'float32')\n"
                                                ">>> kernels.NAME(x, 10, 0.5)\n"
                                                ">>> x.tolist()\n"
                                                "[10.5, 20.5, 30.5]"));
    m.def(k.name, call, doc.c_str(), arg("x"), arg("scale"), arg("offset"), py::kw_only(),
          keyword("n"));
}

void define_mix(py::module_& m)
{
    const Kernel& k = kernel("mix_f64");
    const auto call = [&k](H re, H im, H out, H n) {
        const Call c(k);
        const View r = c.array<double>(re, "re");
        const View i = c.array<double>(im, "im");
        const View o = c.array<double>(out, "out", written | pairs);
        const std::size_t count = c.count(n, {r, i, o});
        c.apart(count, {r, i, o});
        const std::size_t at = o.modulo(32);
        if (c.level() == Level::avx && at != 0 && r.modulo(32) == at && i.modulo(32) == at &&
            count >= (32 - at) / 8 + 4)
            c.refuse("out", "an address that re and im do not share modulo 32, or 0 modulo 32",
                     c.place(o, 32));
        c.run<mix_f64_fn>(
            [&](auto* f) { f(r.as<double>(), i.as<double>(), count, o.as<double>()); });
    };
    const std::string doc =
        text(k, "(re, im, out, *, n=None) -> None",
             "re, im: float64 (n); out: float64 (2n) or complex128 (n), written; n: pairs.\n\n" +
                 example(k, "out = numpy.empty(2, complex)\n"
                            ">>> kernels.NAME(numpy.array([1., 2.]), numpy.array([3., 4.]), out)\n"
                            ">>> out.tolist()\n"
                            "[(1+3j), (2+4j)]"));
    m.def(k.name, call, doc.c_str(), arg("re"), arg("im"), arg("out"), py::kw_only(), keyword("n"));
}

template <class Fn, class T>
void define_fft_abs(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H in, H out, H n) {
        const Call c(k);
        const View i = c.array<T>(in, "in", pairs | any_address);
        const View o = c.array<T>(out, "out", written | any_address);
        const std::size_t count = c.count(n, {i, o});
        const std::size_t block = 2 * c.width() / sizeof(T); // both halves in whole blocks
        if (block != 0 && count % block != 0)
            c.refuse("n", "a multiple of " + std::to_string(block), std::to_string(count));
        c.apart(count, {i, o});
        c.run<Fn>([&](auto* f) { f(i.as<T>(), count, o.as<T>()); });
    };
    const std::string doc =
        text(k, "(in, out, *, n=None) -> None",
             std::string("in: ") + Element<T>::pair_name + " (n or 2n); out: " + Element<T>::name +
                 " (n), written; n: bins, a multiple of 16 suits every level.\n\n" +
                 example(k,
                         "z = numpy.full(16, 3+4j).astype('TYPE'); out = numpy.empty(16, 'CODE')\n"
                         ">>> kernels.NAME(z, out)\n"
                         ">>> out.max()\n"
                         "25.0",
                         sizeof(T) == 4 ? "complex64" : "complex128", Element<T>::name));
    m.def(name, call, doc.c_str(), arg("in"), arg("out"), py::kw_only(), keyword("n"));
}

template <class Fn, class T>
void define_spec_log(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H in, H out, H offset, H n) {
        const Call c(k);
        const View i = c.array<T>(in, "in");
        const View o = c.array<T>(out, "out", written);
        const T minus = c.number<T>(offset, "offset");
        const std::size_t count = c.count(n, {i, o});
        c.apart(count, {i, o}, "out", "in");
        const std::size_t width = c.width();
        if (width != 0 && count > width - 1) { // the variants' threshold: 15 and 31
            if (count % (width / 4) != 0)
                c.refuse("n", "a multiple of " + std::to_string(width / 4), std::to_string(count));
            for (const View& v : {i, o})
                if (v.modulo(width) != 0)
                    c.refuse(v.name, "an array aligned to " + std::to_string(width) + " bytes",
                             "one at " + c.place(v, width));
        }
        c.run<Fn>([&](auto* f) { f(i.as<T>(), count, o.as<T>(), minus); });
    };
    const std::string doc =
        text(k, "(in, out, offset, *, n=None) -> None",
             std::string("in: ") + Element<T>::name + " (n), powers; out: " + Element<T>::name +
                 " (n), written, decibels; offset in decibels.\n\n" +
                 example(k,
                         "p = numpy.array([1, 10, 1000], 'TYPE'); out = numpy.empty(3, 'TYPE')\n"
                         ">>> kernels.NAME(p, out, 0)\n"
                         ">>> out.round(3).tolist()\n"
                         "[0.0, 10.0, 30.0]",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("in"), arg("out"), arg("offset"), py::kw_only(),
          keyword("n"));
}

// --- Filter ------------------------------------------------------------------------------------------

template <class Fn, class T>
void define_fir_step(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H re, H im, H taps, H n) {
        const Call c(k);
        const View r = c.array<T>(re, "re");
        const View i = c.array<T>(im, "im");
        const View t = c.array<T>(taps, "taps");
        const std::size_t count = c.count(n, {r, i, t});
        T out_re = 0;
        T out_im = 0;
        c.run<Fn>([&](auto* f) { f(r.as<T>(), i.as<T>(), t.as<T>(), count, &out_re, &out_im); });
        return std::pair(out_re, out_im);
    };
    const std::string doc =
        text(k, "(re, im, taps, *, n=None) -> (out_re, out_im)",
             std::string("re, im, taps: ") + Element<T>::name + " (n).\n\n" +
                 example(k,
                         "re, im = numpy.array([1, 2], 'TYPE'), numpy.array([3, 4], 'TYPE')\n"
                         ">>> kernels.NAME(re, im, numpy.array([1, 0.5], 'TYPE'))\n"
                         "(2.0, 5.0)",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("re"), arg("im"), arg("taps"), py::kw_only(), keyword("n"));
}

/// The three streams; scale and offset where samples are integers.
template <class T, class Call_>
auto stream(const Kernel& k, H in, H taps, H pos, H hist_re, H hist_im, H out, H n, Call_ run)
{
    const Call c(k);
    View i = c.array<T>(in, "in", pairs);
    const View t = c.array<double>(taps, "taps", one_at_least);
    const View re = c.array<double>(hist_re, "hist_re", written);
    const View im = c.array<double>(hist_im, "hist_im", written);
    View o = c.array<double>(out, "out", written | pairs);
    const std::size_t count = c.count(n, {i, o});
    c.count(py::none(), {t, re, im});
    auto slot = static_cast<std::int64_t>(c.whole(pos, "pos"));
    if (static_cast<std::size_t>(slot) >= t.count)
        c.refuse("pos", "a slot below " + std::to_string(t.count), std::to_string(slot));
    i.count = o.count = count;
    c.apart(std::numeric_limits<std::size_t>::max(), {i, t, re, im, o});
    run(c, i.as<T>(), count, t.as<double>(), t.count - 1, &slot, re.as<double>(), im.as<double>(),
        o.as<double>());
    return slot;
}

std::string stream_text(const Kernel& k, const char* in, bool scaled)
{
    return text(
        k,
        scaled ? "(in, taps, pos, hist_re, hist_im, out, scale, offset, *, n=None) -> pos"
               : "(in, taps, pos, hist_re, hist_im, out, *, n=None) -> pos",
        std::string("in: ") + in +
            "; taps, hist_re, hist_im: float64 (taps); pos: the next\nsample's slot, below taps; "
            "out: float64 (2n) or complex128 (n), written; n: samples.\nReturns the next pos.\n\n" +
            example(k,
                    "hist_re, hist_im, out = numpy.zeros(2), numpy.zeros(2), numpy.empty(4)\n"
                    ">>> samples = numpy.array([2, 4, 0, 0], 'TYPE')\n"
                    ">>> taps = numpy.array([0.5, 0.25])\n"
                    ">>> kernels.NAME(samples, taps, 0, hist_re, hist_im, outCODE)\n"
                    "0\n"
                    ">>> out.tolist()\n"
                    "[1.0, 2.0, 0.5, 1.0]",
                    scaled ? "int16"
                           : (std::strcmp(k.name, "fir_c32_alt") == 0 ? "float32" : "float64"),
                    scaled ? ", 1, 0" : ""));
}

void define_streams(py::module_& m)
{
    const Kernel& c16 = kernel("fir_c16_alt");
    const auto call16 = [&c16](H in, H taps, H pos, H hist_re, H hist_im, H out, H scale, H offset,
                               H n) {
        const auto by = Call(c16).number<double>(scale, "scale");
        const auto plus = Call(c16).number<double>(offset, "offset");
        return stream<std::int16_t>(
            c16, in, taps, pos, hist_re, hist_im, out, n, [by, plus](const Call& c, auto... a) {
                c.run<decltype(fir_c16_alt)>([&](auto* f) { f(a..., by, plus); });
            });
    };
    m.def("fir_c16_alt", call16, stream_text(c16, "int16 (2n)", true).c_str(), arg("in"),
          arg("taps"), arg("pos"), arg("hist_re"), arg("hist_im"), arg("out"), arg("scale"),
          arg("offset"), py::kw_only(), keyword("n"));

    const Kernel& c32 = kernel("fir_c32_alt");
    const auto call32 = [&c32](H in, H taps, H pos, H hist_re, H hist_im, H out, H n) {
        return stream<float>(c32, in, taps, pos, hist_re, hist_im, out, n,
                             [](const Call& c, auto... a) {
                                 c.run<decltype(fir_c32_alt)>([&](auto* f) { f(a...); });
                             });
    };
    m.def("fir_c32_alt", call32, stream_text(c32, "float32 (2n) or complex64 (n)", false).c_str(),
          arg("in"), arg("taps"), arg("pos"), arg("hist_re"), arg("hist_im"), arg("out"),
          py::kw_only(), keyword("n"));

    const Kernel& c64 = kernel("fir_c64_alt");
    const auto call64 = [&c64](H in, H taps, H pos, H hist_re, H hist_im, H out, H n) {
        return stream<double>(c64, in, taps, pos, hist_re, hist_im, out, n,
                              [](const Call& c, auto... a) {
                                  c.run<decltype(fir_c64_alt)>([&](auto* f) { f(a...); });
                              });
    };
    m.def("fir_c64_alt", call64, stream_text(c64, "float64 (2n) or complex128 (n)", false).c_str(),
          arg("in"), arg("taps"), arg("pos"), arg("hist_re"), arg("hist_im"), arg("out"),
          py::kw_only(), keyword("n"));
}

template <class Fn, class T>
void define_iir1(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H x, H y, H a, H n) {
        const Call c(k);
        const View frame = c.array<T>(x, "x");
        const View state = c.array<T>(y, "y", written);
        const T share = c.number<T>(a, "a");
        const std::size_t count = c.count(n, {frame, state});
        c.apart(count, {frame, state});
        c.run<Fn>([&](auto* f) { f(frame.as<T>(), count, state.as<T>(), share); });
    };
    const std::string doc =
        text(k, "(x, y, a, *, n=None) -> None",
             std::string("x: ") + Element<T>::name + " (n); y: " + Element<T>::name +
                 " (n), read and written; a: share of x.\n\n" +
                 example(k,
                         "y = numpy.zeros(2, 'TYPE')\n"
                         ">>> kernels.NAME(numpy.array([4, 8], 'TYPE'), y, 0.25)\n"
                         ">>> y.tolist()\n"
                         "[1.0, 2.0]",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("x"), arg("y"), arg("a"), py::kw_only(), keyword("n"));
}

template <class Fn, class T>
void define_vfilter(py::module_& m, const char* name)
{
    const Kernel& k = kernel(name);
    const auto call = [&k](H x, H taps, H y, H n, H len) {
        const Call c(k);
        const View in = c.array<T>(x, "x");
        const View t = c.array<T>(taps, "taps");
        const View out = c.array<T>(y, "y", written);
        const std::size_t count = c.count(n, {in, out});
        const std::size_t length = len.is_none() ? t.count : c.whole(len, "len");
        const std::size_t used = length < 2 ? 0 : length | 1U;
        constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
        if (count > most || length >= most)
            c.refuse(count > most ? "n" : "len", "less than 2147483648",
                     std::to_string(count > most ? count : length));
        if (t.count < used)
            c.refuse("taps", std::to_string(used) + " elements (an odd number)",
                     std::to_string(t.count));
        if (used != 0 && count < used - 1)
            c.refuse("x", "at least " + std::to_string(used - 1) + " elements (taps - 1)",
                     std::to_string(count));
        c.apart(std::numeric_limits<std::size_t>::max(), {in, t, out});
        if (used == 0 && !Call::presumed)
            c.must_be_available(kernel("memcpy_fast"));
        c.run<Fn>([&](auto* f) {
            f(in.as<T>(), static_cast<std::int32_t>(count), t.as<T>(),
              static_cast<std::int32_t>(length), out.as<T>());
        });
    };
    const std::string doc =
        text(k, "(x, taps, y, *, n=None, len=None) -> None",
             std::string("x: ") + Element<T>::name + " (n); taps: " + Element<T>::name +
                 " (len), an odd number, symmetric;\ny: " + Element<T>::name +
                 " (n), written; n is at least taps - 1.\n\n" +
                 example(k,
                         "x = numpy.array([0, 0, 4, 0, 0], 'TYPE'); y = numpy.empty(5, 'TYPE')\n"
                         ">>> kernels.NAME(x, numpy.array([0.25, 0.5, 0.25], 'TYPE'), y)\n"
                         ">>> y.tolist()\n"
                         "[0.0, 1.0, 2.0, 1.0, 0.0]",
                         Element<T>::name));
    m.def(name, call, doc.c_str(), arg("x"), arg("taps"), arg("y"), py::kw_only(), keyword("n"),
          keyword("len"));
}

void define_vfilter2(py::module_& m)
{
    const Kernel& k = kernel("vfilter2_chunk");
    const auto call = [&k](H x, H w, H centre, H n) {
        const Call c(k);
        const View v = c.array<float>(x, "x");
        const View weights = c.array<float>(w, "w");
        const auto around = c.number<float>(centre, "c");
        const std::size_t count = c.count(n, {v, weights});
        return c.run<vfilter2_chunk_fn>(
            [&](auto* f) { return f(v.as<float>(), weights.as<float>(), count, around); });
    };
    const std::string doc =
        text(k, "(x, w, c, *, n=None) -> float",
             "x, w: float32 (n); c in the unit of x.\n\n" +
                 example(k, "x = numpy.array([9, 11], 'float32')\n"
                            ">>> kernels.NAME(x, numpy.ones(2, 'float32'), 10)\n"
                            "10.0"));
    m.def(k.name, call, doc.c_str(), arg("x"), arg("w"), arg("c"), py::kw_only(), keyword("n"));
}

} // namespace

void define_kernels(py::module_& m)
{
    define_fill(m);
    define_copy(m);
    define_swap_words(m);

    define_pack<pack_f32_u8_fn, float, std::uint8_t>(m, "pack_f32_u8", "min");
    define_pack<pack_f32_s16_fn, float, std::int16_t>(m, "pack_f32_s16", "mid");
    define_pack<pack_f64_u8_fn, double, std::uint8_t>(m, "pack_f64_u8", "min");
    define_pack<pack_f64_s16_fn, double, std::int16_t>(m, "pack_f64_s16", "mid");
    define_pack<pack_f64_u16_fn, double, std::uint16_t>(m, "pack_f64_u16", "min");
    define_unpack<unpack_u8_f32_fn, std::uint8_t, float>(m, "unpack_u8_f32");
    define_unpack<unpack_s16_f32_fn, std::int16_t, float>(m, "unpack_s16_f32");
    define_unpack<unpack_u8_f64_fn, std::uint8_t, double>(m, "unpack_u8_f64");
    define_unpack<unpack_s16_f64_fn, std::int16_t, double>(m, "unpack_s16_f64");
    define_unpack<unpack_u16_f64_fn, std::uint16_t, double>(m, "unpack_u16_f64");
    define_unpack_alt(m);
    define_unpack_cmb(m);

    define_extreme<min_u8_fn, std::uint8_t>(m, "min_u8");
    define_extreme<max_u8_fn, std::uint8_t>(m, "max_u8");
    define_extreme<min_s16_fn, std::int16_t>(m, "min_s16");
    define_extreme<max_s16_fn, std::int16_t>(m, "max_s16");
    define_minmax<minmax_s16_fn, std::int16_t>(m, "minmax_s16");
    define_extreme<min_f32_fn, float>(m, "min_f32");
    define_extreme<max_f32_fn, float>(m, "max_f32");
    define_minmax<minmax_f32_fn, float>(m, "minmax_f32");
    define_extreme<min_f64_fn, double>(m, "min_f64");
    define_extreme<max_f64_fn, double>(m, "max_f64");
    define_minmax<minmax_f64_fn, double>(m, "minmax_f64");
    const char* const mean = "kernels.NAME(numpy.array([1, 2, 6], 'TYPE'))\n3.0";
    define_reduce<avg_f32_fn, float>(m, "avg_f32", "x", any_address, mean);
    define_reduce<avg_f64_fn, double>(m, "avg_f64", "x", any_address, mean);
    define_avg_lvl<avg_lvl_f32_fn, float>(m, "avg_lvl_f32");
    define_avg_lvl<avg_lvl_f64_fn, double>(m, "avg_lvl_f64");
    define_reduce<avg_abs_s16_fn, std::int16_t>(m, "avg_abs_s16", "x", read,
                                                "kernels.NAME(numpy.array([-3, 5], 'TYPE'))\n4");
    define_minmaxmed<minmaxmed_f32_fn, float>(m, "minmaxmed_f32");
    define_minmaxmed<minmaxmed_f64_fn, double>(m, "minmaxmed_f64");
    define_max_array<max_array_f32_fn, float>(m, "max_array_f32");
    define_max_array<max_array_f64_fn, double>(m, "max_array_f64");

    define_mult<mult_f32_fn, float>(m, "mult_f32");
    define_mult<mult_f64_fn, double>(m, "mult_f64");
    define_mult_add(m);
    define_mix(m);
    define_fft_abs<fft_abs_f32_fn, float>(m, "fft_abs_f32");
    define_fft_abs<fft_abs_f64_fn, double>(m, "fft_abs_f64");
    define_spec_log<spec_log_f32_fn, float>(m, "spec_log_f32");
    define_spec_log<spec_log_f64_fn, double>(m, "spec_log_f64");

    define_fir_step<fir_step_c32_fn, float>(m, "fir_step_c32");
    define_fir_step<fir_step_c64_fn, double>(m, "fir_step_c64");
    define_streams(m);
    define_iir1<iir1_f32_fn, float>(m, "iir1_f32");
    define_iir1<iir1_f64_fn, double>(m, "iir1_f64");
    define_vfilter<vfilter_f32_fn, float>(m, "vfilter_f32");
    define_vfilter<vfilter_f64_fn, double>(m, "vfilter_f64");
    define_vfilter2(m);
}

} // namespace binding
