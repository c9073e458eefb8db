#include "rig/signals.h"

#include <csignal>
#include <dlfcn.h>
#include <ucontext.h>
#include <utility>

namespace rig {
namespace {

Answering::Answer* answering = nullptr;
sigjmp_buf* landing = nullptr;

void land_or_die(int signal)
{
    if (landing != nullptr)
        siglongjmp(*landing, signal);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Aligned by itself: emulators have been seen to enter handlers with a stack that is not.
[[gnu::force_align_arg_pointer]] void on_signal(int signal, siginfo_t*, void* context)
{
    auto& regs = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const auto* at = reinterpret_cast<const unsigned char*>(regs[REG_RIP]);
    if (signal == SIGILL && answering != nullptr && at[0] == 0x0f && at[1] == 0x0b) {
        Dl_info image{};
        dladdr(at, &image);
        const Words out = (*answering)(static_cast<const char*>(image.dli_fbase),
                                       static_cast<std::uint32_t>(regs[REG_RAX]),
                                       static_cast<std::uint32_t>(regs[REG_RCX]));
        regs[REG_RAX] = out.eax; // the upper halves become 0, as the instruction does
        regs[REG_RBX] = out.ebx;
        regs[REG_RCX] = out.ecx;
        regs[REG_RDX] = out.edx;
        regs[REG_RIP] += 2;
        return;
    }
    land_or_die(signal);
}

void install_handlers()
{
    static const bool once = [] {
        struct sigaction action {};
        action.sa_sigaction = on_signal;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        for (const int signal : {SIGILL, SIGSEGV, SIGBUS, SIGFPE})
            sigaction(signal, &action, nullptr);
        return true;
    }();
    static_cast<void>(once);
}

} // namespace

Answering::Answering(Answer answer)
{
    install_handlers();
    answering = new Answer(std::move(answer));
}

Answering::~Answering()
{
    delete answering;
    answering = nullptr;
}

sigjmp_buf* land_at(sigjmp_buf* place)
{
    install_handlers();
    return std::exchange(landing, place);
}

} // namespace rig
