#include "rig/machine_code.h"

#include <algorithm>
#include <cstring>
#include <elf.h>
#include <stdexcept>

namespace rig {

std::uint64_t Instruction::target() const
{
    if (operands[0].type != ZYDIS_OPERAND_TYPE_IMMEDIATE || operands[0].imm.is_relative == 0)
        return 0;
    return next() + operands[0].imm.value.u;
}

bool Instruction::writes_ymm() const
{
    for (int i = 0; i < decoded.operand_count; ++i)
        if (operands[i].type == ZYDIS_OPERAND_TYPE_REGISTER &&
            (operands[i].actions & ZYDIS_OPERAND_ACTION_MASK_WRITE) != 0 &&
            ZydisRegisterGetClass(operands[i].reg.value) == ZYDIS_REGCLASS_YMM)
            return true;
    return false;
}

MachineCode::MachineCode(const std::string& path) : elf_(path)
{
    ZydisDecoderInit(&decoder_, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64);
    const ElfSection* text = elf_.section(".text");
    if (text == nullptr)
        throw std::runtime_error("no code in " + path);
    text_ = *text;
    for (const ElfSymbol& s : elf_.symbols)
        if (s.type == STT_FUNC && s.section != SHN_UNDEF && s.size != 0)
            functions_.emplace(s.value, Function{unmangled(s.name), s.value, s.value + s.size, {}});
}

const Function* MachineCode::named(const std::string& name) const
{
    for (auto& [address, f] : functions_)
        if (f.name == name)
            return &decoded(f);
    return nullptr;
}

const Function* MachineCode::around(std::uint64_t address) const
{
    auto it = functions_.upper_bound(address);
    if (it == functions_.begin())
        return nullptr;
    --it;
    return address < it->second.end ? &decoded(it->second) : nullptr;
}

const std::map<std::uint64_t, Function>& MachineCode::functions() const
{
    for (auto& [address, f] : functions_)
        decoded(f);
    return functions_;
}

std::map<std::uint32_t, std::set<std::uint64_t>> MachineCode::rows_named_in(const Function& f) const
{
    std::map<std::uint32_t, std::set<std::uint64_t>> rows;
    for (const Instruction& in : f.code)
        for (int i = 0; i < in.decoded.operand_count; ++i) {
            const ZydisDecodedOperand& operand = in.operands[i];
            if (operand.type != ZYDIS_OPERAND_TYPE_MEMORY || operand.mem.base != ZYDIS_REGISTER_RIP)
                continue;
            const std::uint64_t at = in.next() + static_cast<std::uint64_t>(operand.mem.disp.value);
            std::uint32_t words[8];
            const char* bytes = elf_.bytes_at(at, sizeof words);
            if (at % 32 != 0 || bytes == nullptr)
                continue;
            std::memcpy(words, bytes, sizeof words);
            if (std::count(std::begin(words), std::end(words), words[0]) == 8)
                rows[words[0]].insert(at);
        }
    return rows;
}

bool MachineCode::is_padding(std::uint64_t from, std::uint64_t to) const
{
    while (from < to) {
        Instruction i{};
        if (byte(from) == 0) {
            ++from;
            continue;
        }
        if (!decode_one(i, from, to) || (i.decoded.meta.category != ZYDIS_CATEGORY_NOP &&
                                         i.decoded.meta.category != ZYDIS_CATEGORY_WIDENOP &&
                                         i.decoded.mnemonic != ZYDIS_MNEMONIC_INT3 &&
                                         i.decoded.mnemonic != ZYDIS_MNEMONIC_XCHG))
            return false;
        from = i.next();
    }
    return true;
}

bool MachineCode::decode_one(Instruction& i, std::uint64_t at, std::uint64_t end) const
{
    i.address = at;
    const char* bytes = elf_.bytes.data() + text_.offset + (at - text_.address);
    return ZYAN_SUCCESS(ZydisDecoderDecodeFull(&decoder_, bytes, end - at, &i.decoded, i.operands));
}

const Function& MachineCode::decoded(Function& f) const
{
    for (std::uint64_t at = f.code.empty() ? f.begin : f.end; at < f.end;) {
        Instruction i{};
        if (!decode_one(i, at, f.end))
            throw std::runtime_error("cannot decode " + f.name);
        at = i.next();
        f.code.push_back(i);
    }
    return f;
}

const MachineCode& shipped_code()
{
    static const MachineCode all(shipped());
    return all;
}

const std::map<std::string, Level>& variant_levels()
{
    static const std::map<std::string, Level> names = [] {
        std::map<std::string, Level> list;
        for (const auto& [entry, levels] : table())
            for (const Level level : levels)
                list.emplace(entry + "_" + name(level), level);
        list.emplace("exp_f32x4",
                     Level::sse2); // the one function that variants of two levels share
        return list;
    }();
    return names;
}

std::vector<const Function*> body_of(const std::string& variant)
{
    std::vector<const Function*> reached;
    const Function* first = shipped_code().named(variant);
    if (first == nullptr)
        return reached;
    reached.push_back(first);
    for (std::size_t i = 0; i < reached.size(); ++i)
        for (const Instruction& in : reached[i]->code) {
            const std::uint64_t target = in.target();
            const Function* callee = target == 0 ? nullptr : shipped_code().around(target);
            if (callee == nullptr || variant_levels().contains(callee->name) ||
                std::find(reached.begin(), reached.end(), callee) != reached.end())
                continue;
            reached.push_back(callee);
        }
    return reached;
}

} // namespace rig
