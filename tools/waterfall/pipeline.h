// tools/waterfall/pipeline.h: blocks of a stream on several threads, in order at both ends.
#ifndef WATERFALL_PIPELINE_H
#define WATERFALL_PIPELINE_H

#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace waterfall {

/// Every block goes through fill(block), which says whether there was one; work(block, thread), on
/// any thread; merge(block), in the order of filling. The calling thread fills, so that a signal
/// interrupts its reading; with one thread it does everything, in a pool of one block.
template <typename Block, typename Fill, typename Work, typename Merge>
class Pipeline {
public:
    Pipeline(std::vector<Block>& pool, unsigned threads, Fill fill, Work work, Merge merge)
        : pool_(pool), threads_(threads), fill_(fill), work_(work), merge_(merge)
    {
    }

    /// Throws what the first failing step threw.
    void run()
    {
        if (threads_ == 1) {
            while (fill_(pool_[0])) {
                work_(pool_[0], 0U);
                merge_(pool_[0]);
            }
            return;
        }
        for (Block& block : pool_)
            free_.push_back(&block);
        std::vector<std::thread> workers;
        try {
            start(workers);
            fill_all();
        } catch (...) {
            fail();
        }
        {
            const std::lock_guard lock(mutex_);
            closed_ = true;
        }
        changed_.notify_all();
        for (std::thread& worker : workers)
            worker.join();
        if (error_)
            std::rethrow_exception(error_);
    }

private:
    using Numbered = std::pair<std::uint64_t, Block*>;

    void start(std::vector<std::thread>& workers)
    {
        sigset_t all, before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before); // workers inherit it
        try {
            for (unsigned t = 0; t < threads_; ++t)
                workers.emplace_back([this, t] { serve(t); });
        } catch (...) {
            pthread_sigmask(SIG_SETMASK, &before, nullptr);
            throw;
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    void fill_all()
    {
        for (std::uint64_t number = 0;; ++number) {
            Block* block = nullptr;
            {
                std::unique_lock lock(mutex_);
                changed_.wait(lock, [&] { return !free_.empty() || error_; });
                if (error_)
                    return;
                block = free_.back();
                free_.pop_back();
            }
            if (!fill_(*block))
                return;
            const std::lock_guard lock(mutex_);
            filled_.emplace_back(number, block);
            changed_.notify_all();
        }
    }

    void serve(unsigned thread)
    {
        try {
            while (serve_next(thread)) {
            }
        } catch (...) {
            fail();
        }
    }

    /// Works on the next block and merges it; false where there is none any more.
    bool serve_next(unsigned thread)
    {
        Numbered next;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return !filled_.empty() || closed_ || error_; });
            if (filled_.empty() || error_)
                return false;
            next = filled_.front();
            filled_.pop_front();
        }
        work_(*next.second, thread);
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return merged_ == next.first || error_; });
            if (error_)
                return false;
        }
        merge_(*next.second);
        const std::lock_guard lock(mutex_);
        ++merged_;
        free_.push_back(next.second);
        changed_.notify_all();
        return true;
    }

    void fail()
    {
        const std::lock_guard lock(mutex_);
        if (!error_)
            error_ = std::current_exception();
        changed_.notify_all();
    }

    std::vector<Block>& pool_;
    unsigned threads_;
    Fill fill_;
    Work work_;
    Merge merge_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Block*> free_;
    std::deque<Numbered> filled_;
    std::uint64_t merged_ = 0;
    bool closed_ = false;
    std::exception_ptr error_;
};

} // namespace waterfall

#endif // WATERFALL_PIPELINE_H
