// tests/proof/full_width.cpp: every variant through the shipped library against its model: every
// count to 1024, every offset of the pointers, special values at every place. A long run, apart
// from the quick tests.
#include "proof/sweep.h"

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace proof;

struct Task {
    const Kernel* kernel;
    Level level;
};

/// What a worker writes and the parent reads.
struct Progress {
    std::atomic<std::uint64_t> cases, outside, hash;
    std::atomic<int> state; // 0 waiting, 1 running, 2 agreed, 3 differed
    char message[1000];
};

struct Shared {
    std::atomic<std::size_t> next;
    Progress tasks[256];
};

void sweep(const Task& task, Extent extent, bool control, Progress& progress)
{
    progress.state = 1;
    std::uint64_t hash = 0;
    const Visit visit_one = [&](const Case& c) {
        if (progress.state != 1)
            return;
        const Verdict verdict = check(*task.kernel, task.level, c);
        (verdict.made ? progress.cases : progress.outside).fetch_add(1, std::memory_order_relaxed);
        hash = (hash ^ verdict.hash) * 0x9E3779B97F4A7C15U + 1;
        if (!verdict.failure.empty()) {
            std::snprintf(progress.message, sizeof progress.message, "%s", verdict.failure.c_str());
            progress.state = 3;
        }
    };
    const Visit visit = control ? under_control(visit_one) : visit_one;
    const Extent part = share(*task.kernel, task.level, extent);
    counts_and_offsets(*task.kernel, part, visit);
    special_values(*task.kernel, task.level, part, visit);
    progress.hash = hash;
    if (progress.state == 1)
        progress.state = 2;
}

void work(const std::vector<Task>& tasks, Extent extent, bool control, Shared& shared)
{
    for (;;) {
        const std::size_t i = shared.next++;
        if (i >= tasks.size())
            return;
        sweep(tasks[i], extent, control, shared.tasks[i]);
    }
}

std::string title(const Task& task)
{
    return std::string(task.kernel->name) + " " + rig::name(task.level);
}

/// One line for each variant as it is done; on a terminal, a line that moves.
class Display {
public:
    Display(const std::vector<Task>& tasks, Shared& shared) : tasks_(tasks), shared_(shared) {}

    void show(bool last)
    {
        if (terminal_)
            std::fputs("\r\033[K", stdout);
        std::string running;
        std::uint64_t cases = 0;
        std::size_t done = 0;
        for (std::size_t i = 0; i < tasks_.size(); ++i) {
            const Progress& p = shared_.tasks[i];
            cases += p.cases;
            if (p.state == 1)
                running += " " + title(tasks_[i]) + ",";
            if (p.state < 2)
                continue;
            ++done;
            if (printed_[i])
                continue;
            printed_[i] = true;
            std::printf("%-28s %9lu cases, %7lu open, hash %016lx  %s\n", title(tasks_[i]).c_str(),
                        p.cases.load(), p.outside.load(), p.hash.load(),
                        p.state == 2 ? "agrees" : p.message);
        }
        if (terminal_ && !last)
            std::printf("%zu of %zu variants, %.1f million cases, %ld s:%s", done, tasks_.size(),
                        static_cast<double>(cases) / 1e6, seconds(), running.c_str());
        std::fflush(stdout);
    }

    int summary() const
    {
        std::uint64_t cases = 0;
        std::uint64_t outside = 0;
        std::uint64_t hash = 0;
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < tasks_.size(); ++i) {
            const Progress& p = shared_.tasks[i];
            cases += p.cases;
            outside += p.outside;
            hash = (hash ^ p.hash) * 0x9E3779B97F4A7C15U + 1;
            wrong += p.state == 2 ? 0U : 1U;
            if (p.state < 2)
                std::printf("%s: its worker ended early\n", title(tasks_[i]).c_str());
        }
        std::printf("%zu variants, %lu cases compared, %lu outside the contract, hash %016lx, %ld "
                    "s: %zu differ\n",
                    tasks_.size(), cases, outside, hash, seconds(), wrong);
        return wrong == 0 && !tasks_.empty() ? 0 : 1;
    }

private:
    long seconds() const
    {
        const auto passed = std::chrono::steady_clock::now() - start_;
        return std::chrono::duration_cast<std::chrono::seconds>(passed).count();
    }

    const std::vector<Task>& tasks_;
    Shared& shared_;
    std::array<bool, 256> printed_{};
    const bool terminal_ = isatty(STDOUT_FILENO) == 1;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

int run(int argc, char** argv)
{
    CLI::App app("Every variant of the shipped library against its model.");
    std::string filter;
    unsigned workers = 2;
    Extent extent;
    bool control = false;
    app.add_option("--filter", filter, "only variants whose \"entry level\" contains this");
    app.add_option("--threads", workers, "worker processes")->check(CLI::Range(1, 64));
    app.add_option("--most", extent.most, "greatest count")->check(CLI::Range(0, 1024));
    app.add_option("--thin", extent.thin, "one case of so many")->check(CLI::PositiveNumber);
    app.add_flag("--control", control, "under every setting of the control word");
    CLI11_PARSE(app, argc, argv);

    std::vector<Task> tasks;
    for (const Kernel* kernel : all_kernels())
        for (const Level level : kernel->levels())
            if (const Task task{kernel, level}; title(task).find(filter) != std::string::npos)
                tasks.push_back(task);

    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        return 2;
    Shared& shared = *new (memory) Shared;
    for (unsigned i = 0; i < workers; ++i)
        if (fork() == 0) {
            work(tasks, extent, control, shared);
            _exit(0);
        }
    Display display(tasks, shared);
    for (unsigned left = workers; left != 0;) {
        int status = 0;
        if (waitpid(-1, &status, WNOHANG) > 0) {
            --left;
            if (WIFSIGNALED(status))
                std::printf("a worker ended: %s\n", strsignal(WTERMSIG(status)));
        } else {
            usleep(200000);
        }
        display.show(left == 0);
    }
    return display.summary();
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
