// The rig itself: functions that break each rule of a call, or write and read beside their arrays, and
// the words in which the rig must report them.
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/gate.h"
#include "rig/trace.h"

#include <csignal>

using namespace rig;

namespace {

using Offender = void();

[[gnu::naked]] void behaves() { asm("ret"); }
[[gnu::naked]] void clobbers_rbx() { asm("not %rbx\n\tret"); }
[[gnu::naked]] void clobbers_rbp() { asm("not %rbp\n\tret"); }
[[gnu::naked]] void clobbers_r12() { asm("not %r12\n\tret"); }
[[gnu::naked]] void clobbers_r13() { asm("not %r13\n\tret"); }
[[gnu::naked]] void clobbers_r14() { asm("not %r14\n\tret"); }
[[gnu::naked]] void clobbers_r15() { asm("not %r15\n\tret"); }
[[gnu::naked]] void sets_direction() { asm("std\n\tret"); }
[[gnu::naked]] void pops_too_much() { asm("pop %rcx\n\tlea 16(%rsp), %rsp\n\tjmp *%rcx"); }
[[gnu::naked]] void pops_too_little() { asm("mov (%rsp), %rcx\n\tjmp *%rcx"); }
[[gnu::naked]] void writes_above_its_return() { asm("movb $0, 8(%rsp)\n\tret"); }
[[gnu::naked]] void writes_far_above() { asm("movb $0, 271(%rsp)\n\tret"); }
[[gnu::naked]] void flushes_to_zero()
{
    asm("stmxcsr -8(%rsp)\n\torl $0x8000, -8(%rsp)\n\tldmxcsr -8(%rsp)\n\tret");
}
[[gnu::naked]] void rounds_down()
{
    asm("stmxcsr -8(%rsp)\n\torl $0x2000, -8(%rsp)\n\tldmxcsr -8(%rsp)\n\tret");
}
[[gnu::naked]] void unmasks_division()
{
    asm("stmxcsr -8(%rsp)\n\tandl $~0x200, -8(%rsp)\n\tldmxcsr -8(%rsp)\n\tret");
}
[[gnu::naked]] void raises_flags() // status bits: what every sum does
{
    asm("stmxcsr -8(%rsp)\n\torl $0x3f, -8(%rsp)\n\tldmxcsr -8(%rsp)\n\tret");
}
[[gnu::naked]] void clears_flags()
{
    asm("stmxcsr -8(%rsp)\n\tandl $~0x20, -8(%rsp)\n\tldmxcsr -8(%rsp)\n\tret");
}
[[gnu::naked]] void dirties_ymm() { asm("vcmptrueps %ymm0, %ymm0, %ymm3\n\tret"); }
[[gnu::naked]] void clears_ymm() { asm("vzeroupper\n\tret"); }
[[gnu::naked]] void writes_to_null() { asm("movl $0, 0\n\tret"); }
[[gnu::naked]] void is_undefined() { asm("ud2"); }
[[gnu::naked]] void divides_by_zero() { asm("xor %ecx, %ecx\n\tdiv %ecx\n\tret"); }
[[gnu::naked]] void stores_misaligned() { asm("movaps %xmm0, -17(%rsp)\n\tret"); }

/// What armed() says of an offender behind a gate.
std::string said_of(Offender* offender, Level level = Level::sse2)
{
    Offender* const watched = gated(offender);
    const auto result = armed(level, [&] {
        watched();
        asm volatile("" ::: "memory"); // no tail call
    });
    return result ? "" : result.message();
}

volatile unsigned char seen;

} // namespace

TEST(calls, a_function_that_behaves_is_not_reported)
{
    for (const Level level : all_levels)
        EXPECT_EQ(said_of(clears_ymm, level), "");
    EXPECT_EQ(said_of(behaves), "");
    EXPECT_EQ(said_of(raises_flags), "");
}

TEST(calls, each_callee_saved_register_is_reported)
{
    EXPECT_EQ(said_of(clobbers_rbx), "changed: rbx");
    EXPECT_EQ(said_of(clobbers_rbp), "changed: rbp");
    EXPECT_EQ(said_of(clobbers_r12), "changed: r12");
    EXPECT_EQ(said_of(clobbers_r13), "changed: r13");
    EXPECT_EQ(said_of(clobbers_r14), "changed: r14");
    EXPECT_EQ(said_of(clobbers_r15), "changed: r15");
}

TEST(calls, direction_flag_is_reported_and_cleared)
{
    EXPECT_EQ(said_of(sets_direction), "changed: direction flag");
    EXPECT_EQ(said_of(behaves), "");
}

TEST(calls, stack_is_reported)
{
    EXPECT_EQ(said_of(pops_too_much), "changed: stack pointer");
    EXPECT_EQ(said_of(pops_too_little), "changed: stack pointer");
    EXPECT_EQ(said_of(writes_above_its_return), "changed: stack canary");
    EXPECT_EQ(said_of(writes_far_above), "changed: stack canary");
}

TEST(calls, control_bits_are_reported_and_restored)
{
    const unsigned before = __builtin_ia32_stmxcsr();
    for (Offender* const offender : {flushes_to_zero, rounds_down, unmasks_division}) {
        EXPECT_EQ(said_of(offender), "MXCSR control bits changed");
        EXPECT_EQ(__builtin_ia32_stmxcsr() & ~0x3FU, before & ~0x3FU);
    }
}

TEST(calls, control_word_is_the_one_asked_for)
{
    const unsigned before = __builtin_ia32_stmxcsr();
    for (const unsigned mxcsr : {0x1F80U, 0x9F80U, 0x7FC0U, 0xFFFFU}) {
        unsigned within = 0;
        unsigned flags = 0;
        EXPECT_TRUE(armed(
            Level::sse2, [&] { within = __builtin_ia32_stmxcsr(); }, mxcsr, &flags));
        EXPECT_EQ(within, mxcsr);
        EXPECT_EQ(flags, mxcsr & exception_flags);
        EXPECT_TRUE(armed(Level::sse2, raises_flags, mxcsr, &flags));
        EXPECT_EQ(flags, exception_flags);
        EXPECT_EQ(__builtin_ia32_stmxcsr(), before);
    }
    EXPECT_EQ(std::string(armed(Level::sse2, clears_flags, 0x1FBF).message()),
              "MXCSR exception flags cleared");
    EXPECT_TRUE(armed(Level::sse2, clears_flags, 0x1F80));
    EXPECT_EQ(std::string(armed(Level::sse2, rounds_down, 0x1FBF).message()),
              "MXCSR control bits changed");
}

TEST(calls, dirty_upper_halves_are_reported)
{
    ASSERT_TRUE(__builtin_cpu_supports("avx")) << "this machine has no AVX";
    if (upper_halves_visible()) { // by the processor's own word; else code_test reads the code
        for (const Level level : {Level::avx, Level::avx2}) {
            EXPECT_EQ(said_of(dirties_ymm, level),
                      "upper halves of the vector registers left dirty");
            EXPECT_EQ(said_of(behaves, level), "upper halves of the vector registers left dirty");
        }
    }
    EXPECT_EQ(said_of(clears_ymm, Level::avx), "");
}

TEST(calls, faults_are_named)
{
    EXPECT_EQ(said_of(writes_to_null), "the call ended with: Segmentation fault");
    EXPECT_EQ(said_of(is_undefined), "the call ended with: Illegal instruction");
    EXPECT_EQ(said_of(divides_by_zero), "the call ended with: Floating point exception");
    EXPECT_EQ(said_of(stores_misaligned), "the call ended with: Segmentation fault");
    EXPECT_EQ(said_of(behaves), "");
    EXPECT_TRUE(faults([] { writes_to_null(); }));
    EXPECT_FALSE(faults([] { behaves(); }));
    EXPECT_FALSE(faults([] { is_undefined(); })) << "no memory fault";
}

TEST(calls, a_fault_inside_gates_leaves_them_in_order)
{
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(said_of(writes_to_null), "the call ended with: Segmentation fault");
    EXPECT_EQ(said_of(clobbers_r12), "changed: r12");
}

TEST(calls, a_gate_passes_arguments_and_results)
{
    const auto sum = [](int a, double b, int c, int d, int e, int f, int g, double h) {
        return a + b * 2 + c * 3 + d * 5 + e * 7 + f * 11 + g * 13 + h * 17;
    };
    double (*const plain)(int, double, int, int, int, int, int, double) = sum;
    EXPECT_EQ(gated(plain)(1, 2, 3, 4, 5, 6, 7, 8), plain(1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(gated(plain), gated(plain));
    EXPECT_EQ(behind_gate(reinterpret_cast<void*>(gated(plain))), reinterpret_cast<void*>(plain));
}

TEST(calls, entries_lead_through_gates)
{
    for (const Level level : all_levels) {
        fill_f32_fn* const entry = KERNEL(at(level), fill_f32);
        EXPECT_NE(behind_gate(reinterpret_cast<void*>(entry)), reinterpret_cast<void*>(entry));
    }
    for (const auto& [entry, levels] : table())
        for (const Level level : levels)
            EXPECT_EQ(at(level).variant(entry.c_str()), entry + "_" + name(level));
}

TEST(arrays, forbidden_pages_stand_at_both_ends)
{
    Buffer<float> array(100);
    for (const std::size_t n : {1U, 16U, 100U}) {
        const float* const at_end =
            array.place(n, n * 4 % 64 == 0 ? 0 : 64 - n * 4 % 64, Edge::end);
        EXPECT_TRUE(faults([&] { seen = *reinterpret_cast<const unsigned char*>(at_end + n); }));
        EXPECT_TRUE(faults([&] { array.set(n, 1); }));
        EXPECT_FALSE(faults([&] { seen = *reinterpret_cast<const unsigned char*>(at_end); }));
        const float* const at_start = array.place(n, 0, Edge::start);
        EXPECT_TRUE(
            faults([&] { seen = *(reinterpret_cast<const unsigned char*>(at_start) - 1); }));
        EXPECT_TRUE(array.intact());
    }
}

TEST(arrays, every_byte_written_beside_them_is_reported)
{
    Buffer<unsigned char> array(100);
    for (const Edge edge : both_edges)
        for (const std::size_t offset : {0U, 1U, 31U, 63U})
            for (const std::ptrdiff_t at : {-1, -2, -17, 100, 101, 117}) {
                unsigned char* const data = array.place(100, offset, edge);
                EXPECT_TRUE(array.intact());
                bool faulted = false;
                unsigned char before = 0;
                faulted = faults([&] { before = data[at], data[at] = 0x11; });
                EXPECT_TRUE(faulted || !array.intact()) << offset << ", " << at;
                if (!faulted) {
                    const std::string where = at < 0 ? std::to_string(-at) + " bytes before"
                                                     : std::to_string(at - 100) + " bytes past";
                    EXPECT_EQ(std::string(array.intact().message()),
                              "written " + where + " the array");
                    data[at] = before;
                    EXPECT_TRUE(array.intact());
                }
            }
}

TEST(arrays, single_elements_and_bits_are_compared)
{
    const float zeros[2] = {0.0F, -0.0F};
    EXPECT_FALSE(same_bits(zeros[0], zeros[1]));
    EXPECT_TRUE(same_bits(zeros[1], zeros[1]));
    const float want[3] = {1, 2, 3};
    const float got[3] = {1, 2, 3.0000002F};
    EXPECT_TRUE(same_bits(want, got, 2));
    EXPECT_FALSE(same_bits(want, got, 3));
}

TEST(traced, streaming_accesses_are_counted)
{
    alignas(16) float memory[8] = {};
    const auto streams = [&] {
        asm volatile("movntps %%xmm0, %0\n\tmovntdq %%xmm0, %1" : "=m"(memory[0]), "=m"(memory[4]));
    };
    EXPECT_EQ(executed(streams, is_streaming_store), 2U);
    EXPECT_EQ(executed(streams, is_streaming_load), 0U);
}
