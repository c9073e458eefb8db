// tests/proof/all_floats.cpp: all 2^32 floats through the blocks' logarithm (spec_log_f32) and
// exponential (vfilter2_chunk), at SSE2 and AVX2, against the models. A long run.
#include "proof/all_floats.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace all_floats {

void Shared::differs(const char* what, std::uint32_t bits, float want, float got)
{
    ++differences;
    if (!told.exchange(true))
        std::printf("\n%s of %08x: want %08x, got %08x\n", what, bits, rig::bits_of(want),
                    rig::bits_of(got));
}

} // namespace all_floats

namespace {

using namespace all_floats;
using Clock = std::chrono::steady_clock;

void work(Shared& shared, std::size_t every)
{
    for (;;) {
        const std::size_t task = shared.next++;
        const std::size_t chunk = task * every;
        if (chunk >= chunks)
            return;
        log_chunk(chunk, shared);
        exp_chunk(chunk, shared);
        ++shared.done;
    }
}

std::map<std::string, std::uint64_t> recorded(const std::string& path)
{
    std::map<std::string, std::uint64_t> lines;
    std::ifstream file(path);
    std::string function;
    std::string level;
    std::uint64_t hash = 0;
    while (file >> function >> level >> std::hex >> hash)
        lines[function + " " + level] = hash;
    return lines;
}

/// Whether the hashes of a whole run are the recorded ones.
bool as_recorded(const Shared& shared)
{
    const auto lines = recorded(LIBSIMD_ALL_FLOATS);
    bool same = true;
    for (std::size_t k = 0; k < std::size(names); ++k) {
        std::uint64_t hash = 0;
        for (const std::uint64_t part : shared.hash[k])
            hash = (hash ^ part) * 0x9E3779B97F4A7C15U + 1;
        const auto line = lines.find(names[k]);
        const bool matches = line != lines.end() && line->second == hash;
        std::printf("%s %016lx%s\n", names[k], hash, matches ? "" : "  (not what is recorded)");
        same = same && matches;
    }
    return same;
}

int run(int argc, char** argv)
{
    CLI::App app("All floats through the blocks' logarithm and exponential.");
    unsigned workers = 2;
    std::size_t every = 1;
    app.add_option("--threads", workers, "worker processes")->check(CLI::Range(1, 64));
    app.add_option("--every", every, "only one part of so many, of 4096")
        ->check(CLI::Range(1, 4096));
    CLI11_PARSE(app, argc, argv);

    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return 2;
    Shared& shared = *new (memory) Shared;
    const auto start = Clock::now();
    const auto seconds = [&] {
        return std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count();
    };
    for (unsigned i = 0; i < workers; ++i)
        if (fork() == 0) {
            work(shared, every);
            std::fflush(stdout);
            _exit(0);
        }
    const std::size_t parts = (chunks + every - 1) / every;
    bool crashed = false;
    for (unsigned left = workers; left != 0;) {
        int status = 0;
        if (waitpid(-1, &status, WNOHANG) > 0) {
            --left;
            crashed = crashed || status != 0;
            continue;
        }
        usleep(200000);
        if (isatty(STDOUT_FILENO) == 1) {
            std::printf("\r%zu of %zu parts, %ld s", shared.done.load(), parts, seconds());
            std::fflush(stdout);
        }
    }
    std::printf("\r%zu of %zu parts of 2^20 floats, each at both levels of both functions, %ld s: "
                "%lu results differ, %lu would not show\n",
                shared.done.load(), parts, seconds(), shared.differences.load(),
                shared.hidden.load());
    if (crashed || shared.done != parts || shared.differences != 0 || shared.hidden != 0)
        return 1;
    return every == 1 && !as_recorded(shared) ? 1 : 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
