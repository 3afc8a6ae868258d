// The worker threads that share a frame's image path with the thread that asked for it.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vboard {

class FramePool {
  public:
    // The one pool of the library: started by the first frame that asks for helpers, stopped when
    // the library unloads.
    static FramePool& instance();

    ~FramePool();

    // Helpers a frame of at most `threads` threads (0: no limit) gets beside its own thread, starting
    // the workers if none run. None after a fork (the workers stayed in the parent), once the pool is
    // destroyed, or where no thread could start.
    unsigned helpers(unsigned threads);

    // Runs task(0) .. task(bands - 1) on the calling thread and at most `helpers` workers, and
    // returns when all have ended. The calling thread takes every band no worker took, so a frame
    // ends even when no worker is free or they are stopping. The first failure is thrown here,
    // and the bands not yet begun are skipped.
    void run(uint32_t bands, unsigned helpers, const std::function<void(uint32_t)>& task);

    // Joins the workers; the next frame that asks starts them again.
    void stop();

    // Workers running in this process.
    unsigned running() const;

  private:
    struct Job {
        const std::function<void(uint32_t)>& task;
        uint32_t bands;
        unsigned helpers;                // workers allowed on it at once
        uint32_t next = 0;               // first band nobody took
        std::atomic<uint32_t> done = 0;  // bands ended or skipped; read unlocked while the caller waits
        unsigned workersOn = 0;
        std::exception_ptr error;
    };

    FramePool() = default;
    void work();
    Job* claimable();
    // Runs one band taken under the lock and counts it, the lock held again on return.
    void execute(Job& job, uint32_t band, std::unique_lock<std::mutex>& lock);

    std::mutex lifecycleM_;  // held while workers start or are joined
    std::vector<std::thread> threads_;
    std::atomic<unsigned> running_{0};
    std::atomic<pid_t> owner_{0};  // the process the workers run in

    std::mutex m_;
    std::condition_variable workCv_, doneCv_;
    std::vector<Job*> jobs_;
    bool stopping_ = false;
};

}  // namespace vboard
