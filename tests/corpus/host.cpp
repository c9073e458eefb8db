// The library as a host finds it, on the processor that runs this or on a scripted one.
//
//     corpus_host LIBRARY           entry, offset of what it holds, hash (or "fault N"), calls
//     corpus_host LIBRARY LEVELS    the same while a script answers CPUID: the word of leaf 1's ECX and
//                                   EDX bits as hexadecimal numbers, and 1 for AVX2: ECX,EDX,AVX2
#include "corpus/corpus.h"
#include "rig/copy.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Loaded {
    corpus::Kernels kernels;
    const char* base;
};

template <class Find>
corpus::Kernels kernels_of(Find find)
{
    corpus::Kernels kernels;
#define CORPUS_FIND(name) kernels.name = *reinterpret_cast<name##_fn**>(find(#name));
    CORPUS_ENTRIES(CORPUS_FIND)
#undef CORPUS_FIND
#define CORPUS_FIND(name) kernels.name = reinterpret_cast<decltype(kernels.name)>(find(#name));
    CORPUS_FUNCTIONS(CORPUS_FIND)
#undef CORPUS_FIND
    return kernels;
}

Loaded load(const char* path)
{
    void* handle = dlopen(path, RTLD_NOW);
    if (handle == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(2);
    }
    const link_map* map = nullptr;
    dlinfo(handle, RTLD_DI_LINKMAP, &map);
    return {kernels_of([&](const char* name) { return dlsym(handle, name); }),
            reinterpret_cast<const char*>(map->l_addr)};
}

Loaded load_scripted(const char* path, std::uint32_t ecx, std::uint32_t edx, bool avx2)
{
    static std::optional<rig::ScriptedCopy> copy;
    copy.emplace(rig::ElfFile(path), [=](const char*, std::uint32_t leaf, std::uint32_t) {
        if (leaf == 0)
            return rig::Words{7, 0, 0, 0};
        if (leaf == 1)
            return rig::Words{0, 0, ecx, edx};
        return rig::Words{0, leaf == 7 && avx2 ? 1U << 5 : 0, 0, 0};
    });
    return {kernels_of([&](const char* name) { return copy->symbol(name); }), copy->base()};
}

/// Runs one kernel in a process of its own, because it may fault.
void report(const Loaded& library, const std::string& name, const void* code)
{
    const long offset = code == nullptr ? 0 : static_cast<const char*>(code) - library.base;
    std::printf("%s %lx ", name.c_str(), static_cast<unsigned long>(offset));
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const corpus::Result r = corpus::run(library.kernels, name);
        std::printf("%016llx %llu\n", static_cast<unsigned long long>(r.hash),
                    static_cast<unsigned long long>(r.calls));
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status))
        std::printf("fault %d\n", WTERMSIG(status));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    unsigned ecx = 0;
    unsigned edx = 0;
    unsigned avx2 = 0;
    const bool is_scripted =
        argc > 2 && std::sscanf(argv[2], "%x,%x,%u", &ecx, &edx, &avx2) == 3; // NOLINT
    const Loaded library =
        is_scripted ? load_scripted(argv[1], ecx, edx, avx2 != 0) : load(argv[1]);
#define CORPUS_REPORT(name)                                                                        \
    report(library, #name, reinterpret_cast<const void*>(library.kernels.name));
    CORPUS_ENTRIES(CORPUS_REPORT)
    CORPUS_FUNCTIONS(CORPUS_REPORT)
#undef CORPUS_REPORT
    return 0;
}
