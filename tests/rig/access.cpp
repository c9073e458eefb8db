#include "rig/access.h"

#include "rig/signals.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <elf.h>
#include <sys/mman.h>
#include <unordered_map>
#include <xmmintrin.h>

// The registers of the stepped code while our own runs. The assembler below knows the offsets.
struct rig_guest_state {
    std::uint64_t gpr[16]; // 0: as the processor numbers them
    std::uint64_t flags;   // 128
    std::uint64_t host;    // 136: our stack pointer while the guest runs
    std::uint64_t go;      // 144: where the guest continues
    std::uint64_t unused;
    alignas(32) rig::Lanes vector[16]; // 160
};
static_assert(offsetof(rig_guest_state, vector) == 160);

extern "C" {
rig_guest_state rig_guest;
void rig_step_enter();
void rig_step_one();
void rig_step_back();
void rig_step_loop();
alignas(64) unsigned char rig_step_stack[1 << 18];
}

// rig_step_enter stands in for the function that is to be stepped through, rig_step_one runs what
// rig_guest.go points to, until it comes back to rig_step_back.
asm(R"(
    .macro rig_each do, first=0
    \do 0, rax
    \do 8, rcx
    \do 16, rdx
    \do 24, rbx
    \do 40, rbp
    \do 48, rsi
    \do 56, rdi
    \do 64, r8
    \do 72, r9
    \do 80, r10
    \do 88, r11
    \do 96, r12
    \do 104, r13
    \do 112, r14
    \do 120, r15
    .endm
    .macro rig_keep at, reg
    mov %\reg, rig_guest+\at(%rip)
    .endm
    .macro rig_give at, reg
    mov rig_guest+\at(%rip), %\reg
    .endm
    .macro rig_keep_all stack:vararg
    rig_each rig_keep
    mov %rsp, rig_guest+32(%rip)
    \stack, %rsp
    pushfq
    popq rig_guest+128(%rip)
    cld
    .altmacro
    .set i, 0
    .rept 16
    rig_keep_vector %i
    .set i, i+1
    .endr
    .noaltmacro
    vzeroupper
    .endm
    .macro rig_keep_vector i
    vmovups %ymm\i, rig_guest+160+32*\i(%rip)
    .endm
    .macro rig_give_vector i
    vmovups rig_guest+160+32*\i(%rip), %ymm\i
    .endm
    .macro rig_give_all
    .altmacro
    .set i, 0
    .rept 16
    rig_give_vector %i
    .set i, i+1
    .endr
    .noaltmacro
    pushq rig_guest+128(%rip)
    popfq
    rig_each rig_give
    mov rig_guest+32(%rip), %rsp
    jmp *rig_guest+144(%rip)
    .endm

    .text
    .hidden rig_guest, rig_step_stack, rig_step_loop, rig_step_one, rig_step_back, rig_step_enter
    .globl rig_step_enter, rig_step_one, rig_step_back
    .type rig_step_enter, @function
rig_step_enter:
    rig_keep_all lea rig_step_stack+262144(%rip)
    call rig_step_loop
    rig_give_all
    .type rig_step_one, @function
rig_step_one:
    push %rbx
    push %rbp
    push %r12
    push %r13
    push %r14
    push %r15
    mov %rsp, rig_guest+136(%rip)
    rig_give_all
rig_step_back:
    rig_keep_all mov rig_guest+136(%rip)
    pop %r15
    pop %r14
    pop %r13
    pop %r12
    pop %rbp
    pop %rbx
    ret
)");

namespace rig {
namespace {

constexpr int rsp = 4;

/// An instruction of the file, and its copy for execution.
struct Known {
    const Instruction* in = nullptr;
    const Function* by = nullptr;
    std::map<std::uint64_t, std::uint64_t> copies; // by the image's base
};

std::vector<Known>& known()
{
    static std::vector<Known> all(shipped_code().end() - shipped_code().begin());
    return all;
}

/// The known instruction at an address of the file's code.
Known& known_at(std::uint64_t address)
{
    const std::uint64_t begin = shipped_code().begin();
    Known& at = known()[address - begin];
    if (at.in == nullptr)
        if (const Function* f = shipped_code().around(address))
            for (const Instruction& in : f->code) {
                known()[in.address - begin].in = &in;
                known()[in.address - begin].by = f;
            }
    return at;
}

[[noreturn]] void give_up(const char* why)
{
    std::fprintf(stderr, "rig: cannot step: %s\n", why);
    std::abort();
}

/// Room for copies, near enough to the image that its constants can be named from there.
std::uint64_t room_near(std::uint64_t base, std::size_t bytes)
{
    struct Room {
        std::uint64_t next, end;
    };
    static std::map<std::uint64_t, Room> rooms;
    Room& room = rooms[base];
    constexpr std::size_t all = std::size_t{4} << 20;
    for (std::uint64_t far = std::uint64_t{1} << 24; room.end == 0; far += all) {
        if (far > std::uint64_t{1} << 30)
            give_up("no memory near the library");
        const auto wanted = (base - far) & ~std::uint64_t{4095};
        void* map = mmap(reinterpret_cast<void*>(wanted), all, PROT_READ | PROT_WRITE | PROT_EXEC,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
        if (map == reinterpret_cast<void*>(wanted))
            room = {wanted, wanted + all};
        else if (map != MAP_FAILED)
            munmap(map, all);
    }
    if (room.next + bytes > room.end)
        give_up("too much code");
    return room.next += bytes, room.next - bytes;
}

/// The instruction, and a jump to rig_step_back.
std::uint64_t copy_of(Known& known, std::uint64_t base)
{
    std::uint64_t& copy = known.copies[base];
    if (copy != 0)
        return copy;
    const Instruction& in = *known.in;
    copy = room_near(base, 32);
    auto* to = reinterpret_cast<unsigned char*>(copy);
    std::memcpy(to, reinterpret_cast<const void*>(base + in.address), in.decoded.length);
    for (int i = 0; i < in.decoded.operand_count; ++i)
        if (in.operands[i].type == ZYDIS_OPERAND_TYPE_MEMORY &&
            in.operands[i].mem.base == ZYDIS_REGISTER_RIP) {
            const auto distance =
                static_cast<std::int64_t>(base + in.address - copy) + in.operands[i].mem.disp.value;
            const auto moved = static_cast<std::int32_t>(distance);
            if (moved != distance || in.decoded.raw.disp.size != 32)
                give_up("a constant is out of reach");
            std::memcpy(to + in.decoded.raw.disp.offset, &moved, sizeof moved);
        }
    to += in.decoded.length;
    const unsigned char jump[6] = {0xFF, 0x25, 0, 0, 0, 0}; // to where the next 8 bytes say
    const auto back = reinterpret_cast<std::uint64_t>(rig_step_back);
    std::memcpy(to, jump, sizeof jump);
    std::memcpy(to + sizeof jump, &back, sizeof back);
    return copy;
}

std::uint64_t held(ZydisRegister reg)
{
    if (reg == ZYDIS_REGISTER_NONE)
        return 0;
    if (ZydisRegisterGetClass(reg) != ZYDIS_REGCLASS_GPR64)
        give_up("an address by another register than one of 64 bits");
    return rig_guest.gpr[ZydisRegisterGetId(reg)];
}

std::uint64_t address_of(const ZydisDecodedOperand& operand, const Instruction& in,
                         std::uint64_t base)
{
    const ZydisDecodedOperandMem& mem = operand.mem;
    if (mem.type == ZYDIS_MEMOP_TYPE_VSIB)
        give_up("a gathered operand");
    auto address = static_cast<std::uint64_t>(mem.disp.value);
    address += mem.base == ZYDIS_REGISTER_RIP ? in.next() + base : held(mem.base);
    return address + held(mem.index) * mem.scale;
}

std::uint64_t word_at(std::uint64_t address)
{
    std::uint64_t word;
    std::memcpy(&word, reinterpret_cast<const void*>(address), sizeof word);
    return word;
}

bool is_vector(const ZydisDecodedOperand& operand)
{
    if (operand.type != ZYDIS_OPERAND_TYPE_REGISTER)
        return false;
    const ZydisRegisterClass kind = ZydisRegisterGetClass(operand.reg.value);
    return kind == ZYDIS_REGCLASS_XMM || kind == ZYDIS_REGCLASS_YMM;
}

Lanes vector_held(ZydisRegister reg)
{
    Lanes lanes = rig_guest.vector[ZydisRegisterGetId(reg)];
    if (ZydisRegisterGetClass(reg) == ZYDIS_REGCLASS_XMM)
        std::fill(lanes.begin() + 16, lanes.end(), std::uint8_t{0});
    return lanes;
}

/// Whether a conditional jump is taken.
bool holds(const Instruction& in)
{
    const auto flag = [](unsigned bit) { return (rig_guest.flags >> bit & 1) != 0; };
    const bool carry = flag(0), parity = flag(2), zero = flag(6), sign = flag(7), over = flag(11);
    if (in.decoded.opcode == 0xE3)
        return rig_guest.gpr[1] == 0;
    if (in.decoded.opcode >= 0xE0)
        give_up("a loop instruction");
    const bool table[] = {over, carry,  zero,         carry || zero,
                          sign, parity, sign != over, zero || sign != over};
    return table[in.decoded.opcode >> 1 & 7] != ((in.decoded.opcode & 1) != 0);
}

Reach reach_of(const Instruction& in, unsigned width)
{
    if (width < 16)
        return Reach::single;
    switch (in.decoded.mnemonic) {
    case ZYDIS_MNEMONIC_MOVNTDQA:
    case ZYDIS_MNEMONIC_MOVNTDQ:
    case ZYDIS_MNEMONIC_MOVNTPS:
    case ZYDIS_MNEMONIC_MOVNTPD:
    case ZYDIS_MNEMONIC_VMOVNTDQA:
    case ZYDIS_MNEMONIC_VMOVNTDQ:
    case ZYDIS_MNEMONIC_VMOVNTPS:
    case ZYDIS_MNEMONIC_VMOVNTPD:
        return Reach::streaming;
    case ZYDIS_MNEMONIC_VMOVAPS:
    case ZYDIS_MNEMONIC_VMOVAPD:
    case ZYDIS_MNEMONIC_VMOVDQA:
        return Reach::aligned;
    case ZYDIS_MNEMONIC_MOVUPS:
    case ZYDIS_MNEMONIC_MOVUPD:
    case ZYDIS_MNEMONIC_MOVDQU:
    case ZYDIS_MNEMONIC_LDDQU:
        return Reach::unaligned;
    default: // an operand of 16 bytes must be aligned, except in the VEX encoding
        return in.is_vex() ? Reach::unaligned : Reach::aligned;
    }
}

std::uint64_t end_of_image(const ElfFile& file)
{
    std::uint64_t end = 0;
    for (const ElfSegment& s : file.segments)
        if (s.type == PT_LOAD)
            end = std::max(end, s.address + s.size);
    return (end + 4095) / 4096 * 4096;
}

class Stepper {
public:
    Stepper(Trace& trace, const std::function<bool(const Instruction&)>& watch, sigjmp_buf& out)
        : trace_(trace), watch_(watch), out_(out)
    {
        ZydisDecoderInit(&decoder_, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64);
    }
    void aim(const Library& library, std::uint64_t target);
    void run();

private:
    void enter(const std::string& name);
    void touch(const Known& at);
    void note(const Known& at);
    void outside(std::uint64_t rip);
    /// Follows a jump, call or return; false: it is none.
    bool follow(const Instruction& in);
    void push(std::uint64_t value)
    {
        rig_guest.gpr[rsp] -= 8;
        std::memcpy(reinterpret_cast<void*>(rig_guest.gpr[rsp]), &value, sizeof value);
    }
    std::uint64_t pop() { return rig_guest.gpr[rsp] += 8, word_at(rig_guest.gpr[rsp] - 8); }

    Trace& trace_;
    const std::function<bool(const Instruction&)>& watch_;
    sigjmp_buf& out_;
    ZydisDecoder decoder_;
    std::unordered_map<std::uint64_t, std::string> imports_;
    std::uint64_t base_ = 0, image_end_ = 0, entry_ = 0, rip_ = 0;
    const Function* last_ = nullptr; // null: outside
};

Stepper* stepper = nullptr;

void Stepper::aim(const Library& library, std::uint64_t target)
{
    const ElfFile& file = shipped_code().file();
    base_ = reinterpret_cast<std::uint64_t>(library.base());
    image_end_ = base_ + end_of_image(file);
    for (const ElfRelocation& r : file.relocations)
        if (r.type == R_X86_64_JUMP_SLOT || r.type == R_X86_64_GLOB_DAT)
            imports_.emplace(word_at(base_ + r.offset), r.symbol);
    rip_ = target;
}

void Stepper::enter(const std::string& name)
{
    const std::uint64_t* r = rig_guest.gpr;
    trace_.entered.push_back({name, {r[7], r[6], r[2], r[1], r[8], r[9]}, trace_.steps.size()});
}

void Stepper::touch(const Known& at)
{
    const Instruction& in = *at.in;
    const auto category = in.decoded.meta.category;
    if (category == ZYDIS_CATEGORY_NOP || category == ZYDIS_CATEGORY_WIDENOP)
        return;
    for (int i = 0; i < in.decoded.operand_count; ++i) {
        const ZydisDecodedOperand& operand = in.operands[i];
        if (operand.type != ZYDIS_OPERAND_TYPE_MEMORY || operand.mem.type == ZYDIS_MEMOP_TYPE_AGEN)
            continue;
        const std::uint64_t address = address_of(operand, in, base_);
        if (address >= rig_guest.gpr[rsp] - 65536 && address < entry_ + 256)
            continue; // the stack, arguments included
        const unsigned width = operand.size / 8;
        const bool in_image = address >= base_ && address < image_end_;
        for (const bool store : {false, true})
            if ((operand.actions &
                 (store ? ZYDIS_OPERAND_ACTION_MASK_WRITE : ZYDIS_OPERAND_ACTION_MASK_READ)) != 0)
                (in_image ? trace_.image : trace_.touched)
                    .push_back({in_image ? address - base_ : address, width, store,
                                reach_of(in, width), at.by, trace_.steps.size()});
    }
}

void Stepper::note(const Known& at)
{
    Watched w{{at.in, at.by}, {}, {}};
    for (int i = 0; i < at.in->decoded.operand_count; ++i) {
        const ZydisDecodedOperand& operand = at.in->operands[i];
        if (is_vector(operand)) {
            w.before.push_back(vector_held(operand.reg.value));
        } else if (operand.type == ZYDIS_OPERAND_TYPE_MEMORY && operand.size <= 256) {
            Lanes lanes{};
            std::memcpy(lanes.data(),
                        reinterpret_cast<const void*>(address_of(operand, *at.in, base_)),
                        operand.size / 8);
            w.before.push_back(lanes);
        }
    }
    trace_.watched.push_back(w);
}

bool Stepper::follow(const Instruction& in)
{
    const auto category = in.decoded.meta.category;
    const std::uint64_t next = base_ + in.next();
    std::uint64_t target = 0;
    if (category == ZYDIS_CATEGORY_RET) {
        rip_ = pop();
        return true;
    }
    if (category != ZYDIS_CATEGORY_CALL && category != ZYDIS_CATEGORY_UNCOND_BR &&
        category != ZYDIS_CATEGORY_COND_BR)
        return false;
    if (in.target() != 0)
        target = base_ + in.target();
    else if (in.operands[0].type == ZYDIS_OPERAND_TYPE_REGISTER)
        target = held(in.operands[0].reg.value);
    else
        target = word_at(address_of(in.operands[0], in, base_));
    if (category == ZYDIS_CATEGORY_CALL)
        push(next);
    rip_ = category == ZYDIS_CATEGORY_COND_BR && !holds(in) ? next : target;
    return true;
}

/// Runs a function that is none of the library's at full speed.
void Stepper::outside(std::uint64_t rip)
{
    const auto it = imports_.find(rip);
    enter(it == imports_.end() ? "" : it->second);
    const std::uint64_t back = word_at(rig_guest.gpr[rsp]);
    const auto here = reinterpret_cast<std::uint64_t>(rig_step_back);
    std::memcpy(reinterpret_cast<void*>(rig_guest.gpr[rsp]), &here, sizeof here);
    rig_guest.go = rip;
    rig_step_one();
    rip_ = back;
    last_ = nullptr;
}

void Stepper::run()
{
    constexpr std::size_t most = 1000000;
    unsigned control = _mm_getcsr();
    entry_ = rig_guest.gpr[rsp];
    const std::uint64_t back = word_at(entry_);
    while (rip_ != back || rig_guest.gpr[rsp] != entry_ + 8) {
        if (rip_ < base_ || rip_ >= image_end_) {
            outside(rip_);
            continue;
        }
        const std::uint64_t offset = rip_ - base_ - shipped_code().begin();
        if (offset >= known().size()) { // a stub between the library and what it imports
            Instruction in{};
            in.address = rip_ - base_;
            if (!ZYAN_SUCCESS(ZydisDecoderDecodeFull(&decoder_, reinterpret_cast<const void*>(rip_),
                                                     15, &in.decoded, in.operands)))
                give_up("a stub that cannot be decoded");
            if (!follow(in))
                rip_ += in.decoded.length;
            continue;
        }
        Known& at = known_at(rip_ - base_);
        if (at.in == nullptr)
            give_up("code without a name");
        if (at.by != last_ && rip_ - base_ == at.by->begin)
            enter(at.by->name);
        last_ = at.by;
        touch(at);
        trace_.steps.push_back({at.in, at.by});
        if (trace_.steps.size() > most)
            siglongjmp(out_, SIGXCPU);
        if (follow(*at.in))
            continue;
        const bool watched = watch_ && watch_(*at.in);
        if (watched)
            note(at);
        rip_ += at.in->decoded.length;
        rig_guest.go = copy_of(at, base_);
        rig_step_one();
        const unsigned before = std::exchange(control, _mm_getcsr());
        trace_.control_word |= ((before ^ control) & ~0x3FU) != 0;
        trace_.flags_lost |= (before & ~control & 0x3FU) != 0;
        if (watched)
            for (int i = 0; i < at.in->decoded.operand_count; ++i)
                if (is_vector(at.in->operands[i])) {
                    trace_.watched.back().after = vector_held(at.in->operands[i].reg.value);
                    break;
                }
    }
    rig_guest.go = back;
}

const Library* aimed_library = nullptr;

} // namespace

const char* name(Reach reach)
{
    static const char* const names[] = {"single", "unaligned", "aligned", "streaming"};
    return names[static_cast<int>(reach)];
}

std::string plain_mnemonic(const Instruction& in)
{
    std::string name = in.mnemonic();
    if (in.is_vex() && name.starts_with('v'))
        name.erase(0, 1);
    return name;
}

std::size_t Trace::times_entered(const std::string& function) const
{
    return static_cast<std::size_t>(std::count_if(
        entered.begin(), entered.end(), [&](const Entered& e) { return e.name == function; }));
}

std::size_t Trace::executed(std::initializer_list<const char*> mnemonics) const
{
    return static_cast<std::size_t>(
        std::count_if(steps.begin(), steps.end(), [&](const Step& step) {
            return std::find(mnemonics.begin(), mnemonics.end(), plain_mnemonic(*step.in)) !=
                   mnemonics.end();
        }));
}

void* step_into(void* target)
{
    stepper->aim(*aimed_library, reinterpret_cast<std::uint64_t>(target));
    return reinterpret_cast<void*>(rig_step_enter);
}

Trace traced(const Library& library, const std::function<void()>& call,
             const std::function<bool(const Instruction&)>& watch)
{
    Trace trace;
    sigjmp_buf here;
    Stepper steps(trace, watch, here);
    stepper = &steps;
    aimed_library = &library;
    sigjmp_buf* const outer = land_at(nullptr);
    if (const int signal = sigsetjmp(here, 1); signal != 0) {
        trace.signal = signal;
    } else {
        land_at(&here);
        call();
    }
    land_at(outer);
    return trace;
}

} // namespace rig

void rig_step_loop() { rig::stepper->run(); }
