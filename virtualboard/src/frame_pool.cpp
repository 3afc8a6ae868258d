#include "frame_pool.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <system_error>

namespace vboard {

namespace {

// Enough for the boards this simulates; more threads would only fight over memory bandwidth.
constexpr unsigned kMaxThreads = 8;

// Set once the pool is destroyed: a frame processed by a later static destructor runs alone.
constinit std::atomic<bool> gone{false};

// Workers of a parent process, seen from a forked child where they do not exist: never joined.
std::vector<std::thread>* orphans = nullptr;

// How long a frame's thread waits for the workers' last bands before it sleeps.
constexpr auto kSpinBeforeSleep = std::chrono::microseconds(200);

void relax() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#else
    std::this_thread::yield();
#endif
}

}  // namespace

FramePool& FramePool::instance() {
    static FramePool pool;
    return pool;
}

FramePool::~FramePool() {
    gone.store(true, std::memory_order_release);
    if (owner_.load() == getpid()) {
        stop();
    } else if (!threads_.empty()) {
        orphans = new std::vector<std::thread>(std::move(threads_));
    }
}

unsigned FramePool::running() const {
    return owner_.load() == getpid() ? running_.load(std::memory_order_acquire) : 0;
}

unsigned FramePool::helpers(unsigned threads) {
    if (gone.load(std::memory_order_acquire)) return 0;
    // A forked child: the workers and whatever they held stayed in the parent.
    const pid_t owner = owner_.load();
    if (owner != 0 && owner != getpid()) return 0;
    if (running_.load(std::memory_order_acquire) == 0) {
        std::lock_guard lock(lifecycleM_);
        if (threads_.empty()) {
            const unsigned want = std::clamp(std::thread::hardware_concurrency(), 1u, kMaxThreads) - 1;
            owner_.store(getpid());
            try {
                while (threads_.size() < want) threads_.emplace_back([this] { work(); });
            } catch (const std::system_error&) {
                // Fewer threads: the frames share out what there is.
            }
            running_.store(static_cast<unsigned>(threads_.size()), std::memory_order_release);
        }
    }
    const unsigned n = running_.load(std::memory_order_acquire);
    return threads == 0 ? n : std::min(n, threads - 1);
}

void FramePool::stop() {
    std::lock_guard lifecycle(lifecycleM_);
    if (owner_.load() != getpid()) {
        if (!threads_.empty()) orphans = new std::vector<std::thread>(std::move(threads_));
        running_.store(0, std::memory_order_release);
        return;
    }
    {
        std::lock_guard lock(m_);
        stopping_ = true;
    }
    workCv_.notify_all();
    for (std::thread& t : threads_) t.join();
    threads_.clear();
    running_.store(0, std::memory_order_release);
    std::lock_guard lock(m_);
    stopping_ = false;
}

FramePool::Job* FramePool::claimable() {
    for (Job* job : jobs_)
        if (job->next < job->bands && job->workersOn < job->helpers) return job;
    return nullptr;
}

void FramePool::execute(Job& job, uint32_t band, std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    std::exception_ptr error;
    try {
        job.task(band);
    } catch (...) {
        error = std::current_exception();
    }
    lock.lock();
    ++job.done;
    if (error && !job.error) {
        job.error = error;
        job.done.fetch_add(job.bands - job.next);
        job.next = job.bands;
    }
}

void FramePool::work() {
    std::unique_lock lock(m_);
    for (;;) {
        Job* job = nullptr;
        workCv_.wait(lock, [&] { return stopping_ || (job = claimable()) != nullptr; });
        if (stopping_) return;
        ++job->workersOn;
        execute(*job, job->next++, lock);
        --job->workersOn;
        // Under the lock: the job lives on its caller's stack until the caller sees it done.
        if (job->done == job->bands) doneCv_.notify_all();
    }
}

void FramePool::run(uint32_t bands, unsigned helpers, const std::function<void(uint32_t)>& task) {
    Job job{task, bands, helpers, 0, 0, 0, nullptr};
    std::unique_lock lock(m_);
    jobs_.push_back(&job);
    workCv_.notify_all();
    while (job.next < job.bands) execute(job, job.next++, lock);
    // The last bands are small and end within microseconds, sooner than a sleeping thread is woken
    // (tens of microseconds on a virtual machine). The lock taken again afterwards lets the workers
    // finish with the job before it leaves this stack.
    lock.unlock();
    const auto until = std::chrono::steady_clock::now() + kSpinBeforeSleep;
    while (job.done.load(std::memory_order_acquire) != job.bands && std::chrono::steady_clock::now() < until)
        relax();
    lock.lock();
    doneCv_.wait(lock, [&] { return job.done == job.bands; });
    jobs_.erase(std::find(jobs_.begin(), jobs_.end(), &job));
    lock.unlock();
    if (job.error) std::rethrow_exception(job.error);
}

}  // namespace vboard
