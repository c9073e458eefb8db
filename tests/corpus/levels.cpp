// All levels without a loader: the library's objects linked into one program, so that an instrumented
// build is instrumented to the last byte, and the table filled by the library's own probe.
//
//     corpus_levels                 every kernel at every level: level, kernel, hash, calls
//     corpus_levels --threads N     the same in N threads at once, each on arrays of its own
//     corpus_levels --overruns      the names of the stated overruns
//     corpus_levels --overrun I     one of them: whoever watches the heap must report it
//     corpus_levels --crookeds      the names of the kernels that take elements at any address
//     corpus_levels --crooked I     one of them: whoever watches alignment must report it
//     corpus_levels --race          two threads on one output: whoever watches must report it
#define constructor unused       // the objects have the one that the loader calls
#include "dispatch/dispatch.cpp" // NOLINT
#undef constructor

#include "corpus/array.h"
#include "corpus/corpus.h"

#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

namespace {

constexpr const char* level_names[] = {"base",  "sse",   "sse2", "sse3",
                                       "ssse3", "sse41", "avx",  "avx2"};

unsigned answering_level;

/// A processor that has all levels up to answering_level.
void scripted(std::uint32_t leaf, CpuidWords& words)
{
    constexpr std::uint32_t edx[] = {0, 1U << 25, 1U << 26};
    constexpr std::uint32_t ecx[] = {0, 0, 0, 1, 1U << 9, 1U << 19, 1U << 28};
    words = {};
    if (leaf == 0)
        words.eax = 7;
    for (unsigned i = 0; leaf == 1 && i <= answering_level; ++i) {
        words.edx |= i < 3 ? edx[i] : 0;
        words.ecx |= i < 7 ? ecx[i] : 0;
    }
    if (leaf == 7 && answering_level == 7)
        words.ebx = 1U << 5;
}

corpus::Kernels at(unsigned level)
{
#define CORPUS_CLEAR(name) name = nullptr;
    CORPUS_ENTRIES(CORPUS_CLEAR)
#undef CORPUS_CLEAR
    answering_level = level;
    probe(scripted, install);
    corpus::Kernels kernels;
#define CORPUS_TAKE(name) kernels.name = name;
    CORPUS_ENTRIES(CORPUS_TAKE)
    CORPUS_FUNCTIONS(CORPUS_TAKE)
#undef CORPUS_TAKE
    return kernels;
}

int print_all()
{
    unsigned long long calls = 0;
    for (unsigned level = 0; level < 8; ++level) {
        const corpus::Kernels kernels = at(level);
        for (const std::string& name : corpus::names()) {
            const corpus::Result r = corpus::run(kernels, name);
            std::printf("%s %s %016llx %llu\n", level_names[level], name.c_str(),
                        static_cast<unsigned long long>(r.hash),
                        static_cast<unsigned long long>(r.calls));
            calls += r.calls;
        }
    }
    std::fprintf(stderr, "%llu calls\n", calls);
    return 0;
}

int print_threads(unsigned threads)
{
    unsigned long long calls = 0;
    int different = 0;
    for (unsigned level = 0; level < 8; ++level) {
        const corpus::Kernels kernels = at(level);
        std::mutex lock;
        std::vector<std::uint64_t> first;
        std::vector<std::thread> running;
        for (unsigned t = 0; t < threads; ++t)
            running.emplace_back([&] {
                std::vector<std::uint64_t> hashes;
                unsigned long long own = 0;
                for (const std::string& name : corpus::names()) {
                    const corpus::Result r = corpus::run(kernels, name);
                    hashes.push_back(r.hash);
                    own += r.calls;
                }
                const std::lock_guard guard(lock);
                calls += own;
                if (first.empty())
                    first = hashes;
                different += first != hashes;
            });
        for (std::thread& thread : running)
            thread.join();
    }
    std::fprintf(stderr, "%llu calls in %u threads at a time, %d threads with other results\n",
                 calls, threads, different);
    return different != 0;
}

int call(const corpus::Exception& exception)
{
    for (unsigned level = 0; level < 8; ++level)
        if (exception.level == std::string(level_names[level]))
            exception.call(at(level));
    return 0;
}

int print(const std::vector<corpus::Exception>& exceptions)
{
    for (const corpus::Exception& e : exceptions)
        std::printf("%s, %s\n", e.name, e.level);
    return 0;
}

int race()
{
    const corpus::Kernels kernels = at(2);
    const corpus::Array<float> shared(64, 0);
    const auto write = [&] {
        for (int i = 0; i < 100; ++i)
            kernels.fill_f32(shared, shared.size(), 1);
    };
    std::thread other(write);
    write();
    other.join();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    const unsigned number = argc > 2 ? static_cast<unsigned>(std::stoul(argv[2])) : 16;
    if (mode.empty())
        return print_all();
    if (mode == "--threads")
        return print_threads(number);
    if (mode == "--overrun")
        return call(corpus::overruns().at(number));
    if (mode == "--overruns")
        return print(corpus::overruns());
    if (mode == "--crooked")
        return call(corpus::crooked_elements().at(number));
    if (mode == "--crookeds")
        return print(corpus::crooked_elements());
    return mode == "--race" ? race() : 2;
}
