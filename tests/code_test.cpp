// What the variants' machine code holds, by disassembly: the instruction sets of their level plus
// what they are known to demand, no more and no less; upper halves cleared on every way out.
#include "rig/machine_code.h"

#include <gtest/gtest.h>

namespace {

using rig::body_of;
using rig::Function;
using rig::Instruction;
using rig::Level;

const rig::MachineCode& code() { return rig::shipped_code(); }
const std::map<std::string, Level>& variants() { return rig::variant_levels(); }

/// Instruction sets beyond the plain integer ones.
std::string set_of(const Instruction& in)
{
    if (in.decoded.mnemonic == ZYDIS_MNEMONIC_ENDBR64) // a no-op where nobody asks for it
        return "";
    switch (in.decoded.meta.isa_set) {
    case ZYDIS_ISA_SET_SSE:
    case ZYDIS_ISA_SET_SSEMXCSR:
    case ZYDIS_ISA_SET_SSE_PREFETCH:
        return "sse";
    case ZYDIS_ISA_SET_SSE2:
    case ZYDIS_ISA_SET_SSE2MMX:
        return "sse2";
    case ZYDIS_ISA_SET_SSE3:
    case ZYDIS_ISA_SET_SSE3X87:
        return "sse3";
    case ZYDIS_ISA_SET_SSSE3:
    case ZYDIS_ISA_SET_SSSE3MMX:
        return "ssse3";
    case ZYDIS_ISA_SET_SSE4:
        return "sse41";
    case ZYDIS_ISA_SET_AVX:
        return "avx";
    case ZYDIS_ISA_SET_AVX2:
        return "avx2";
    case ZYDIS_ISA_SET_I86:
    case ZYDIS_ISA_SET_I186:
    case ZYDIS_ISA_SET_I386:
    case ZYDIS_ISA_SET_I486REAL:
    case ZYDIS_ISA_SET_I486:
    case ZYDIS_ISA_SET_PENTIUMREAL:
    case ZYDIS_ISA_SET_PPRO:
    case ZYDIS_ISA_SET_CMOV:
    case ZYDIS_ISA_SET_FAT_NOP:
    case ZYDIS_ISA_SET_LONGMODE:
        return "";
    default:
        return ZydisISASetGetString(in.decoded.meta.isa_set);
    }
}

/// Demanded beyond the level: the instructions of a set that must be there, the only ones of it.
using Demands = std::map<std::string, std::vector<std::string>>;
const Demands& demands(const std::string& variant)
{
    static const Demands none;
    static const std::map<std::string, Demands> list = {
        {"spec_log_f32_base", {{"sse41", {"blendvps"}}}},
        {"spec_log_f32_sse2", {{"sse41", {"blendvps"}}}},
        {"memcpy_fast_sse2", {{"sse41", {"movntdqa"}}}},
        {"unpack_u8_f32_sse2", {{"sse41", {"pmovzx"}}}},
        {"unpack_u8_f64_sse2", {{"sse41", {"pmovzx"}}, {"sse3", {"movddup"}}}},
        {"unpack_u16_f64_sse2", {{"sse41", {"pmovzx"}}, {"sse3", {"movddup"}}}},
        {"avg_lvl_f64_sse2", {{"sse41", {"pextrq"}}, {"sse3", {"haddpd"}}}},
        {"avg_f64_sse2", {{"sse3", {"haddpd"}}}},
        {"iir1_f64_sse2", {{"sse3", {"movddup"}}}},
        {"unpack_s16_f64_sse2", {{"sse3", {"movddup"}}}},
        {"unpack_cmb_s16_f64_sse2", {{"sse3", {"movddup"}}}},
        {"pack_f64_u8_sse2", {{"sse3", {"movddup"}}}},
        {"pack_f64_s16_sse2", {{"sse3", {"movddup"}}}},
        {"pack_f64_u16_sse2", {{"sse3", {"movddup"}}}},
        {"unpack_alt_s16_f64_sse2", {{"sse3", {"movddup"}}}},
        {"avg_abs_s16_ssse3", {{"sse41", {"pmovzx", "pextrd"}}}},
    };
    const auto it = list.find(variant);
    return it == list.end() ? none : it->second;
}

std::set<std::string> sets_of(Level level)
{
    std::set<std::string> sets;
    switch (level) {
    case Level::base:
        sets = {"sse", "sse2"};
        break;
    case Level::sse:
        sets = {"sse"};
        break;
    case Level::avx2:
        sets = {"avx", "avx2"};
        break;
    case Level::avx:
        sets = {"avx"};
        break;
    default:
        for (const Level below : rig::all_levels)
            if (below > Level::base && below <= level)
                sets.insert(rig::name(below));
    }
    return sets;
}

bool has(const std::vector<const Function*>& body, const std::string& mnemonic)
{
    for (const Function* f : body)
        for (const Instruction& in : f->code)
            if (in.mnemonic().starts_with(mnemonic))
                return true;
    return false;
}

/// What a vectorised loop would show. (subpd with one more addition is how clang++ turns an
/// unsigned count into a double, so it is not in the list.)
bool is_packed_arithmetic(const std::string& mnemonic)
{
    static const std::set<std::string> list = {"addps", "subps", "mulps", "mulpd",  "divps",
                                               "divpd", "minps", "minpd", "maxps",  "maxpd",
                                               "paddd", "paddw", "paddq", "pmaddwd"};
    return list.contains(mnemonic);
}

std::vector<std::uint64_t> dirty_exits(const Function& f, bool dirty_at_entry);

/// What a call makes of the upper halves: as the local function it goes to leaves them; functions
/// outside the library leave them as they are.
bool dirty_after(const Instruction& call, bool dirty)
{
    const Function* callee = call.target() == 0 ? nullptr : code().around(call.target());
    return callee == nullptr ? dirty : !dirty_exits(*callee, dirty).empty();
}

/// Ways out of a function on which the upper halves may be dirty.
std::vector<std::uint64_t> dirty_exits(const Function& f, bool dirty_at_entry)
{
    std::map<std::uint64_t, std::size_t> index;
    for (std::size_t i = 0; i < f.code.size(); ++i)
        index[f.code[i].address] = i;
    std::vector<std::uint64_t> exits;
    std::vector<char> reached_dirty(f.code.size(), 0);
    std::vector<char> reached_clean(f.code.size(), 0);
    std::vector<std::pair<std::size_t, bool>> work = {{0, dirty_at_entry}};
    while (!work.empty()) {
        auto [i, dirty] = work.back();
        work.pop_back();
        auto& seen = dirty ? reached_dirty : reached_clean;
        if (seen[i] != 0)
            continue;
        seen[i] = 1;
        const Instruction& in = f.code[i];
        if (in.decoded.mnemonic == ZYDIS_MNEMONIC_VZEROUPPER)
            dirty = false;
        else if (in.writes_ymm())
            dirty = true;
        const auto category = in.decoded.meta.category;
        if (category == ZYDIS_CATEGORY_CALL)
            dirty = dirty_after(in, dirty);
        const bool returns = category == ZYDIS_CATEGORY_RET;
        const bool jumps =
            category == ZYDIS_CATEGORY_UNCOND_BR || category == ZYDIS_CATEGORY_COND_BR;
        if (returns || (jumps && !index.contains(in.target()))) { // tail jumps too
            if (dirty)
                exits.push_back(in.address);
        } else if (jumps) {
            work.emplace_back(index.at(in.target()), dirty);
        }
        if (!returns && category != ZYDIS_CATEGORY_UNCOND_BR && i + 1 < f.code.size())
            work.emplace_back(i + 1, dirty);
    }
    return exits;
}

class Variant : public testing::TestWithParam<std::string> {};

std::vector<std::string> variant_names()
{
    std::vector<std::string> names;
    for (const auto& [name, level] : variants())
        names.push_back(name);
    return names;
}

} // namespace

TEST_P(Variant, uses_its_level_and_its_demands_only)
{
    const auto body = body_of(GetParam());
    ASSERT_FALSE(body.empty()) << "not in the library";
    const auto allowed = sets_of(variants().at(GetParam()));
    const Demands& demanded = demands(GetParam());
    for (const Function* f : body)
        for (const Instruction& in : f->code)
            if (const std::string set = set_of(in); !set.empty() && !allowed.contains(set)) {
                const auto it = demanded.find(set);
                ASSERT_TRUE(it != demanded.end() &&
                            std::any_of(it->second.begin(), it->second.end(),
                                        [&](const std::string& mnemonic) {
                                            return in.mnemonic().starts_with(mnemonic);
                                        }))
                    << f->name << ": " << in.mnemonic() << " is " << set;
            }
}

TEST_P(Variant, executes_what_it_demands)
{
    const auto body = body_of(GetParam());
    ASSERT_FALSE(body.empty()) << "not in the library";
    for (const auto& [set, mnemonics] : demands(GetParam()))
        for (const std::string& mnemonic : mnemonics)
            EXPECT_TRUE(has(body, mnemonic)) << "no " << mnemonic;
}

TEST_P(Variant, leaves_clear_upper_halves)
{
    const Level level = variants().at(GetParam());
    const Function* f = code().named(GetParam());
    ASSERT_NE(f, nullptr) << "not in the library";
    if (level == Level::avx || level == Level::avx2) {
        for (const std::uint64_t address : dirty_exits(*f, true))
            ADD_FAILURE() << "dirty exit at " << std::hex << address;
    } else {
        for (const Instruction& in : f->code)
            EXPECT_FALSE(in.writes_ymm()) << std::hex << in.address;
    }
}

TEST_P(Variant, baseline_is_scalar)
{
    if (variants().at(GetParam()) != Level::base)
        return;
    for (const Function* f : body_of(GetParam()))
        for (const Instruction& in : f->code)
            EXPECT_FALSE(is_packed_arithmetic(in.mnemonic())) << f->name << ": " << in.mnemonic();
}

INSTANTIATE_TEST_SUITE_P(code, Variant, testing::ValuesIn(variant_names()),
                         [](const auto& variant) { return variant.param; });

TEST(code, no_fused_products_anywhere)
{
    std::size_t seen = 0;
    for (const auto& [address, f] : code().functions())
        for (const Instruction& in : f.code) {
            ++seen;
            EXPECT_FALSE(in.mnemonic().starts_with("vfm") || in.mnemonic().starts_with("vfn"))
                << f.name << ": " << in.mnemonic();
        }
    EXPECT_GT(seen, 5000U) << "hardly any code was read";
}

/// Rounding, flushing and exceptions are the caller's: nothing reads or sets a control word.
TEST(code, no_control_word_is_touched_anywhere)
{
    for (const auto& [address, f] : code().functions())
        for (const Instruction& in : f.code) {
            const std::string name = in.mnemonic();
            EXPECT_FALSE(name.find("mxcsr") != std::string::npos || name.starts_with("fld") ||
                         name.starts_with("fn") || name.starts_with("fx") ||
                         name.starts_with("xrstor") || name.starts_with("xsave"))
                << f.name << ": " << name;
        }
}

TEST(code, no_fences_and_no_prefetches_anywhere)
{
    for (const auto& [address, f] : code().functions())
        for (const Instruction& in : f.code)
            EXPECT_FALSE(in.mnemonic().ends_with("fence") || in.mnemonic().starts_with("prefetch"))
                << f.name << ": " << in.mnemonic();
}

TEST(code, streams_past_the_caches_in_memcpy_fast_alone)
{
    for (const auto& [address, f] : code().functions())
        for (const Instruction& in : f.code)
            if (in.mnemonic().find("movnt") != std::string::npos) {
                EXPECT_TRUE(f.name == "memcpy_fast_sse2" || f.name == "memcpy_fast_avx2")
                    << f.name << ": " << in.mnemonic();
            }
}

/// A count of 2^63 and above is no negative number. An unsigned count becomes a float by way of its
/// half, and a double, with clang++, of its two halves; a signed one in one instruction.
TEST_P(Variant, divides_by_an_unsigned_count)
{
    const std::string& name = GetParam();
    if (!name.starts_with("avg_f") && !name.starts_with("minmaxmed_"))
        return;
    const auto body = body_of(name);
    const bool by_its_half =
        has(body, "shr") && has(body, "or") && (has(body, "cvtsi2s") || has(body, "vcvtsi2s"));
    const bool by_halves =
        (has(body, "subpd") && (has(body, "unpckhpd") || has(body, "haddpd"))) ||
        (has(body, "vsubpd") &&
         (has(body, "vshufpd") || has(body, "vpermilpd") || has(body, "vunpckhpd")));
    EXPECT_TRUE(by_its_half || by_halves);
}

/// The constants of the two functions that blocks compute lie in the library eight times in a row,
/// on 32 bytes, and the paths of 4 and of 8 lanes load the same rows.
struct Rows {
    const char *narrow, *wide;
    std::vector<std::uint32_t> constants;
};
static void PrintTo(const Rows& rows, std::ostream* list) { *list << rows.narrow; }

class SharedRows : public testing::TestWithParam<Rows> {};

TEST_P(SharedRows, are_loaded_by_4_lanes_and_by_8)
{
    const Function* const four = code().named(GetParam().narrow);
    const Function* const eight = code().named(GetParam().wide);
    ASSERT_TRUE(four != nullptr && eight != nullptr) << "not in the library";
    const auto narrow = code().rows_named_in(*four);
    const auto wide = code().rows_named_in(*eight);
    for (const std::uint32_t constant : GetParam().constants) {
        ASSERT_TRUE(narrow.contains(constant)) << "no row of " << std::hex << constant;
        ASSERT_TRUE(wide.contains(constant)) << "no row of " << std::hex << constant;
        EXPECT_EQ(narrow.at(constant), wide.at(constant)) << "two of " << std::hex << constant;
    }
}

INSTANTIATE_TEST_SUITE_P(
    code, SharedRows,
    testing::Values(
        Rows{"spec_log_f32_sse2",
             "spec_log_f32_avx2",
             {0x00800000, 0xFFFFFF81, 0x807FFFFF, 0x3F000000, 0x3F3504F3, 0xBF800000, 0x3F800000,
              0x3D9021BB, 0xBDEBD1B8, 0x3DEF251A, 0xBDFE5D4F, 0x3E11E9BF, 0xBE2AAE50, 0x3E4CCEAC,
              0xBE7FFFFC, 0x3EAAAAAA, 0xB95E8083, 0x3F318000, 0x40135D8E, 0x41200000}},
        Rows{"vfilter2_chunk_sse2",
             "vfilter2_chunk_avx2",
             {0x42B0C0A5, 0xC2B0C0A5, 0x3FB8AA3B, 0x3F000000, 0x3F318000, 0xB95E8083, 0x39506967,
              0x3AB743CE, 0x3C088908, 0x3D2AA9C1, 0x3E2AAAAA, 0x3F800000, 127}}),
    [](const auto& rows) { return std::string(rows.param.narrow); });

/// Chunks of 8 to 15 samples at AVX2 are summed there, as at SSE2: what the two levels share is the
/// exponential of four floats, and no other variant is called.
TEST(code, short_chunk_shares_the_exponential_of_four)
{
    for (const char* variant : {"vfilter2_chunk_sse2", "vfilter2_chunk_avx2"}) {
        std::set<std::string> called;
        for (const Function* f : body_of(variant))
            for (const Instruction& in : f->code)
                if (const Function* callee = code().around(in.target());
                    callee != nullptr && callee != f && variants().contains(callee->name))
                    called.insert(callee->name);
        EXPECT_EQ(called, std::set<std::string>{"exp_f32x4"}) << variant;
    }
}

/// A query is two CPUIDs, and what the first leaves in ECX is what the second finds there.
TEST(code, cpuid_twice_in_one_query)
{
    std::vector<std::string> holders;
    for (const auto& [address, f] : code().functions())
        for (const Instruction& in : f.code)
            if (in.decoded.mnemonic == ZYDIS_MNEMONIC_CPUID)
                holders.push_back(f.name);
    ASSERT_EQ(holders, (std::vector<std::string>{"cpuid_query", "cpuid_query"}));

    int cpuids = 0;
    for (const Instruction& in : code().named("cpuid_query")->code) {
        cpuids += in.decoded.mnemonic == ZYDIS_MNEMONIC_CPUID ? 1 : 0;
        for (int i = 0; cpuids == 1 && i < in.decoded.operand_count; ++i) {
            const ZydisDecodedOperand& operand = in.operands[i];
            const bool writes =
                operand.type == ZYDIS_OPERAND_TYPE_REGISTER &&
                (operand.actions & ZYDIS_OPERAND_ACTION_MASK_WRITE) != 0 &&
                ZydisRegisterGetLargestEnclosing(ZYDIS_MACHINE_MODE_LONG_64, operand.reg.value) ==
                    ZYDIS_REGISTER_RCX;
            EXPECT_FALSE(writes && in.decoded.mnemonic != ZYDIS_MNEMONIC_CPUID)
                << in.mnemonic() << " sets ECX";
        }
    }
}

TEST(code, all_of_it_belongs_to_named_functions)
{
    std::uint64_t at = code().begin();
    const auto padded_to = [&](std::uint64_t next) {
        EXPECT_TRUE(code().is_padding(at, next)) << "code without a name at " << std::hex << at;
    };
    for (const auto& [address, f] : code().functions()) {
        padded_to(address);
        at = std::max(at, f.end);
    }
    padded_to(code().end());
}

TEST(code, nothing_outside_the_variants_reaches_above_sse2)
{
    std::set<const Function*> of_variants;
    for (const auto& [name, level] : variants())
        for (const Function* f : body_of(name))
            of_variants.insert(f);
    int others = 0;
    for (const auto& [address, f] : code().functions()) {
        if (of_variants.contains(&f))
            continue;
        ++others;
        for (const Instruction& in : f.code)
            if (const std::string set = set_of(in); !set.empty()) {
                EXPECT_TRUE(set == "sse" || set == "sse2") << f.name << ": " << in.mnemonic();
            }
    }
    EXPECT_GE(others, 4)
        << "init_dispatch, cpuid_query and the three plain functions were not seen";
}
